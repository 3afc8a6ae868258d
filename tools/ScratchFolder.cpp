#include "ScratchFolder.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "Board.h"

namespace pellucid {

ScratchFolder::ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pellucid-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
        throw ToolError("cannot create a temporary folder in " + pattern + ": " + std::strerror(errno));
    path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

}  // namespace pellucid
