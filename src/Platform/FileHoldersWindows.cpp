#include "Platform/FileHolders.h"

std::vector<FileHolders::Holder> FileHolders::below(const std::string& /*folder*/)
{
    return {};
}
