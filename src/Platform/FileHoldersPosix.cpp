#include "Platform/FileHolders.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

/// The entries of a folder, as far as they can be read: a process may end meanwhile.
std::vector<fs::path> entries(const fs::path& folder)
{
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        found.push_back(entry->path());
    }
    return found;
}

bool holds(const fs::path& process, const std::string& folder)
{
    const auto descriptors = entries(process / "fd");
    return std::any_of(descriptors.begin(), descriptors.end(), [&folder](const fs::path& descriptor) {
        std::error_code error;
        return fs::read_symlink(descriptor, error).string().rfind(folder + '/', 0) == 0;
    });
}

std::string nameOf(const fs::path& process)
{
    std::string name;
    std::ifstream file(process / "comm");
    return std::getline(file, name, '\0') ? name : "?";
}

} // namespace

std::vector<FileHolders::Holder> FileHolders::below(const std::string& folder)
{
    const std::string own = std::to_string(getpid());
    std::vector<Holder> holders;
    for (const fs::path& process : entries("/proc")) {
        const std::string number = process.filename().string();
        const bool isProcess = number.find_first_not_of("0123456789") == std::string::npos;
        if (isProcess && number != own && holds(process, folder)) {
            holders.push_back({number, nameOf(process)});
        }
    }
    return holders;
}
