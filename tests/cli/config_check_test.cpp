// The tool's reading of a refused configuration file: a file the board itself saved never gets a
// fault pinned on it, in either trigger mode, and a refused load leaves the board as it was.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Board.h"
#include "ConfigCheck.h"

namespace {

namespace fs = std::filesystem;

TEST(ConfigCheck, FilesTheBoardSavedAreNeverBlamedAndARefusedLoadChangesNothing) {
    const fs::path dir = fs::temp_directory_path() / ("pellucid_check_" + std::to_string(getpid()));
    fs::create_directories(dir);
    pellucid::Board board(0);
    const std::string reference = (dir / "reference.mcf").string();
    board.saveConfig(reference);
    // Saved at the defaults, with the simulator's settings, in legacy trigger mode; checked from
    // another state than the file's.
    for (const char* setting : {"FG_WIDTH=1024", "FG_GEN_ENABLE=1", "FG_TRIGGER_LEGACY_MODE=1"}) {
        board.assign(setting);
        const std::string path = (dir / "saved.mcf").string();
        board.saveConfig(path);
        board.assign("FG_WIDTH=512");
        EXPECT_EQ(pellucid::whyConfigFails(board, path, reference), "") << setting;
    }
    EXPECT_EQ(pellucid::whyConfigFails(board, PELLUCID_SIMULATOR_MCF, reference), "");

    board.reopen();
    const std::string broken = (dir / "broken.mcf").string();
    board.saveConfig(broken);
    std::string text;
    {
        std::ifstream in(broken);
        text.assign(std::istreambuf_iterator<char>(in), {});
    }
    const size_t at = text.find("FG_HEIGHT=");
    text.replace(at, text.find(';', at) - at, "FG_HEIGHT=2");
    std::ofstream(broken) << text;
    board.assign("FG_WIDTH=256");
    try {
        board.loadConfig(broken);
        ADD_FAILURE() << "loaded";
    } catch (const pellucid::ToolError& e) {
        EXPECT_NE(std::string(e.what()).find(": FG_HEIGHT=2: "), std::string::npos) << e.what();
    }
    EXPECT_EQ(board.valueText(board.describe("FG_WIDTH")), "256");
    fs::remove_all(dir);
}

}  // namespace
