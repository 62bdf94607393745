#pragma once

#include <string>
#include <vector>

/// Which other processes hold files open. Those of other users hide that from all but root, and only Linux
/// tells it at all.
/// Thread: any.
namespace FileHolders
{

struct Holder
{
    std::string process; ///< Its number.
    std::string name;    ///< As it calls itself, with a line's end; "?" if that can't be read.
};

/// Those that hold something below `folder` open, as far as they can be seen.
[[nodiscard]] std::vector<Holder> below(const std::string& folder);

} // namespace FileHolders
