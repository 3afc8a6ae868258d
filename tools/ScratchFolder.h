// A private folder under the system's temporary folder, removed with all it holds when the object
// goes: for the files that the SDK or the board only take by name.
#pragma once

#include <filesystem>
#include <string>

namespace pellucid {

class ScratchFolder {
  public:
    // Throws ToolError when the folder cannot be made.
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    // The path of `name` in the folder.
    std::string file(const std::string& name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

}  // namespace pellucid
