// The Pellucid command-line tool: reads and writes the applet's parameters, saves and loads
// configurations, hands out the GenApi document and the parameter reference, and grabs frames.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "Board.h"
#include "Docs.h"
#include "Grab.h"
#include "ParameterTree.h"

namespace {

using pellucid::Board;
using pellucid::ToolError;

constexpr int kUsageExit = 2;

// Settings applied before a command runs: state lives only as long as the board is open, so
// a command that reads or saves takes the configuration it should see.
struct Setup {
    std::string config;
    std::vector<std::string> sets;

    void add(CLI::App* command) {
        command->add_option("--config", config, "load this configuration file first")
            ->check(CLI::ExistingFile);
        command->add_option("--set", sets, "set NAME=VALUE before the command (repeatable)");
    }
    void apply(Board& board) const {
        if (!config.empty()) board.loadConfig(config);
        for (const std::string& s : sets) board.assign(s);
    }
};

void writeText(const std::string& text, const std::string& path) {
    if (path.empty() || path == "-") {
        std::fwrite(text.data(), 1, text.size(), stdout);
        return;
    }
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    if (!out) throw ToolError("cannot write \"" + path + "\"");
}

void printValue(const Board& board, const std::string& name) {
    std::printf("%s=%s\n", name.c_str(), board.valueText(board.describe(name)).c_str());
}

// A bar on stderr when a person watches it; nothing in logs and pipes.
pellucid::GrabProgress progressBar() {
    if (isatty(STDERR_FILENO) == 0) return {};
    return [](long done, long total) {
        constexpr int kWidth = 40;
        const int filled = static_cast<int>(kWidth * done / total);
        std::fprintf(stderr, "\r[%s%s] %ld/%ld", std::string(static_cast<size_t>(filled), '#').c_str(),
                     std::string(static_cast<size_t>(kWidth - filled), ' ').c_str(), done, total);
        if (done == total) std::fputc('\n', stderr);
        std::fflush(stderr);
    };
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Reads and writes the Pellucid applet's parameters and grabs frames."};
    app.require_subcommand(1);
    unsigned boardIndex = 0;
    app.add_option("--board", boardIndex, "board index")->capture_default_str();
    std::string benchPath;
    app.add_option("--bench", benchPath,
                   "bench description (JSON) the virtual board uses: camera, scene, noise, trigger inputs");

    Setup listSetup, getSetup, saveSetup, xmlSetup, docsSetup, grabSetup;

    auto* list = app.add_subcommand("list", "print the parameter tree with values, ranges, units and access");
    listSetup.add(list);

    std::vector<std::string> getNames;
    auto* get = app.add_subcommand("get", "print NAME=value for each parameter");
    get->add_option("NAME", getNames, "parameter names")->required();
    getSetup.add(get);

    std::vector<std::string> assignments;
    auto* set =
        app.add_subcommand("set", "set NAME=VALUE (enumerations also by entry name) and print the result");
    set->add_option("NAME=VALUE", assignments, "assignments")->required();

    std::string savePath;
    auto* save = app.add_subcommand("save", "save the configuration to a file");
    save->add_option("FILE", savePath, "configuration file (.mcf)")->required();
    saveSetup.add(save);

    std::string loadPath;
    auto* load = app.add_subcommand("load", "load a configuration file (checks that it loads)");
    load->add_option("FILE", loadPath, "configuration file (.mcf)")->required();

    std::string xmlPath;
    auto* xml = app.add_subcommand("xml", "write the GenApi document");
    xml->add_option("FILE", xmlPath, "output file (default: standard output)");
    xmlSetup.add(xml);

    std::string docsPath;
    auto* docs = app.add_subcommand("docs", "write the parameter reference in Markdown");
    docs->add_option("FILE", docsPath, "output file (default: standard output)");

    pellucid::GrabOptions grabOptions;
    auto* grab = app.add_subcommand("grab", "acquire frames into PNG files");
    grab->add_option("--frames", grabOptions.frames, "number of frames")
        ->required()
        ->check(CLI::Range(1L, 100000000L));
    grab->add_option("--out", grabOptions.outDir, "output folder")->required();
    grab->add_option("--timeout", grabOptions.timeoutSeconds, "seconds to wait for each frame")
        ->capture_default_str()
        ->check(CLI::Range(0, 86400));
    grab->add_option("--buffers", grabOptions.buffers, "DMA buffers (default: 4..16)")
        ->check(CLI::Range(1L, 1024L));
    grabSetup.add(grab);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? 0 : kUsageExit;
    }

    // The virtual board reads it at every open; another SDK ignores it.
    if (!benchPath.empty()) setenv("PELLUCID_BENCH", benchPath.c_str(), 1);
    try {
        Board board(boardIndex);
        if (*list) {
            listSetup.apply(board);
            pellucid::printParameterTree(stdout, board.tree(), [&board](const RegisterInfo& r) {
                try {
                    return board.valueText(r);
                } catch (const ToolError&) {
                    return std::string();  // fields, write-only: nothing to show
                }
            });
        } else if (*get) {
            getSetup.apply(board);
            for (const std::string& name : getNames) printValue(board, name);
        } else if (*set) {
            for (const std::string& a : assignments) board.assign(a);
            for (const std::string& a : assignments) printValue(board, a.substr(0, a.find('=')));
        } else if (*save) {
            saveSetup.apply(board);
            board.saveConfig(savePath);
            std::printf("saved %s\n", savePath.c_str());
        } else if (*load) {
            board.loadConfig(loadPath);
            std::printf("loaded %s\n", loadPath.c_str());
        } else if (*xml) {
            xmlSetup.apply(board);
            writeText(board.xml(), xmlPath);
        } else if (*docs) {
            writeText(pellucid::parameterReference(board), docsPath);
        } else if (*grab) {
            grabSetup.apply(board);
            const pellucid::GrabResult r = pellucid::grab(board, grabOptions, progressBar());
            std::printf("%ld frames in %.3f s: %.1f frames/s, %ld dropped", r.written, r.seconds,
                        r.framesPerSecond(), r.dropped());
            if (r.dropped() > 0) std::printf(" (%ld skipped, %ld lost)", r.skipped, r.lost);
            std::printf("\n");
        }
    } catch (const ToolError& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "pellucid: %s\n", e.what());
        return EXIT_FAILURE;
    } catch (const std::exception& e) {
        std::fflush(stdout);
        std::fprintf(stderr, "pellucid: %s\n", e.what());
        return EXIT_FAILURE;
    }
    if (std::fflush(stdout) != 0) {
        std::fprintf(stderr, "pellucid: cannot write the output\n");
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
