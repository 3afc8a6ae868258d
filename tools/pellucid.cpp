// The Pellucid command-line tool: reads and writes the applet's parameters, keeps each board's
// working settings between commands, saves and loads configurations, hands out the GenApi
// document and the parameter reference, and grabs frames.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "Board.h"
#include "Docs.h"
#include "Grab.h"
#include "Interrupt.h"
#include "ParameterTree.h"
#include "State.h"
#include "Text.h"
#include "Viewer.h"
#include "fg_constants.h"

namespace {

using pellucid::Board;
using pellucid::ToolError;

constexpr int kUsageExit = 2;

// Settings applied for one command on top of the board's working settings, which they leave as
// they are.
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

// Under the parameter's own name, whatever spelling or id named it.
void printValue(const Board& board, const std::string& name) {
    const RegisterInfo& r = board.describe(name);
    std::printf("%s=%s\n", r.parameterName, board.valueText(r).c_str());
}

// A bar on stderr when a person watches it; nothing in logs and pipes.
pellucid::GrabProgress progressBar() {
    if (isatty(STDERR_FILENO) == 0) return {};
    return [](long done, long total) {
        if (total <= 0) {  // continuous: a count
            std::fprintf(stderr, "\r%ld frames", done);
            std::fflush(stderr);
            return;
        }
        constexpr int kWidth = 40;
        const int filled = static_cast<int>(kWidth * done / total);
        std::fprintf(stderr, "\r[%s%s] %ld/%ld", std::string(static_cast<size_t>(filled), '#').c_str(),
                     std::string(static_cast<size_t>(kWidth - filled), ' ').c_str(), done, total);
        if (done == total) std::fputc('\n', stderr);
        std::fflush(stderr);
    };
}

// The scalar values a person can set, by name, as text.
std::map<std::string, std::string> settableValues(const Board& board) {
    std::map<std::string, std::string> values;
    pellucid::forEachParameter(board.tree(), [&](const RegisterInfo& r) {
        if (r.parameterName == nullptr || r.accessFlags == FG_ACCESS_READ) return;
        try {
            values[r.parameterName] = board.valueText(r);
        } catch (const ToolError&) {
            // fields and write-only commands have no value to compare
        }
    });
    return values;
}

// What differs from the applet's defaults; `board` is freshly opened.
void printStatus(Board& board, const pellucid::WorkingConfiguration& working) {
    const unsigned index = board.index();
    if (!working.exists()) {
        std::printf("board %u: the applet's defaults (no saved settings)\n", index);
        return;
    }
    const auto defaults = settableValues(board);
    working.applyTo(board);
    const auto current = settableValues(board);
    std::vector<std::string> lines;
    for (const auto& [name, value] : current) {
        const auto d = defaults.find(name);
        if (d != defaults.end() && d->second != value)
            lines.push_back(name + "=" + value + " (default " + d->second + ")");
    }
    std::printf("board %u: settings in %s\n", index, working.path().c_str());
    if (lines.empty()) std::printf("all equal to the applet's defaults\n");
    for (const std::string& line : lines) std::printf("%s\n", line.c_str());
}

// The word naming the command, skipping the global options and their values; null without one.
const char* commandWord(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--board") == 0 || std::strcmp(argv[i], "--bench") == 0) {
            ++i;
        } else if (argv[i][0] != '-') {
            return argv[i];
        }
    }
    return nullptr;
}

int usageError(const std::string& message) {
    std::fprintf(stderr, "pellucid: %s\nRun with --help for more information.\n", message.c_str());
    return kUsageExit;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Reads and writes the Pellucid applet's parameters and grabs frames. Settings made with "
        "set and load last: every later command for the board starts from them, until reset."};
    app.require_subcommand(1);
    // Global options may follow the command too.
    app.fallthrough();
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
    auto* set = app.add_subcommand(
        "set",
        "set NAME=VALUE (enumerations also by entry name) for this and later commands; prints the result");
    set->add_option("NAME=VALUE", assignments, "assignments")->required();

    std::string savePath;
    auto* save = app.add_subcommand("save", "save the configuration to a file");
    save->add_option("FILE", savePath, "configuration file (.mcf)")->required();
    saveSetup.add(save);

    std::string loadPath;
    auto* load = app.add_subcommand("load", "load a configuration file for this and later commands");
    load->add_option("FILE", loadPath, "configuration file (.mcf)")->required();

    auto* reset = app.add_subcommand("reset", "return the board to the applet's defaults");
    auto* status = app.add_subcommand("status", "show the board's settings that differ from the defaults");

    std::string xmlPath;
    auto* xml = app.add_subcommand("xml", "write the GenApi document");
    xml->add_option("FILE", xmlPath, "output file (default: standard output)");
    xmlSetup.add(xml);

    std::string docsPath;
    auto* docs = app.add_subcommand("docs", "write the parameter reference in Markdown");
    docs->add_option("FILE", docsPath, "output file (default: standard output)");

    pellucid::GrabOptions grabOptions;
    auto* grab = app.add_subcommand("grab", "acquire frames into PNG, TIFF or NumPy files");
    auto* frames = grab->add_option("--frames", grabOptions.frames, "number of frames (default: 1)")
                       ->check(CLI::Range(1L, 100000000L));
    grab->add_flag("--continuous", grabOptions.continuous, "grab until interrupted (SIGINT, SIGTERM)")
        ->excludes(frames);
    grab->add_option("--out", grabOptions.outDir, "output folder, empty or new")->required();
    grab->add_flag("--overwrite", grabOptions.overwrite,
                   "replace the frame_* files and frames.csv of an earlier grab in the output folder");
    std::map<std::string, pellucid::ImageFormat> formats;
    for (pellucid::ImageFormat f : pellucid::kImageFormats) formats[pellucid::extension(f)] = f;
    grab->add_option("--format", grabOptions.format,
                     "file format: png (compressed), tiff or npy (uncompressed, at the disk's speed)")
        ->transform(CLI::CheckedTransformer(formats))
        ->option_text("png|tiff|npy");
    grab->add_option("--timeout", grabOptions.timeoutSeconds, "seconds to wait for each frame")
        ->capture_default_str()
        ->check(CLI::Range(0, 86400));
    grab->add_option("--buffers", grabOptions.buffers, "DMA buffers (default: 4..16, continuous 16)")
        ->check(CLI::Range(2L, 1024L));
    grab->add_option("--software-trigger", grabOptions.softwareTrigger,
                     "send software triggers at RATE per second, in software-trigger mode for this grab")
        ->option_text("RATE")
        ->check(CLI::PositiveNumber);
    grabSetup.add(grab);

    pellucid::viewer::ViewerOptions viewOptions;
    auto* view = app.add_subcommand(
        "view", "serve a live view on http://127.0.0.1:PORT/: pictures, histogram, parameters, scene");
    view->add_option("--port", viewOptions.port, "port on 127.0.0.1 (0: any free one)")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535));

    std::vector<std::string> commands;
    for (CLI::App* command : app.get_subcommands({})) {
        command->fallthrough();
        commands.push_back(command->get_name());
    }
    std::string commandList;
    for (const std::string& c : commands) commandList += (commandList.empty() ? "" : ", ") + c;
    const char* word = commandWord(argc, argv);
    if (word != nullptr && std::find(commands.begin(), commands.end(), word) == commands.end())
        return usageError("unknown command '" + std::string(word) + "'; commands: " + commandList +
                          pellucid::didYouMean(word, commands));
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
        return app.exit(e);
    } catch (const CLI::RequiredError& e) {
        if (word == nullptr) return usageError("a command is required: " + commandList);
        app.exit(e);
        return kUsageExit;
    } catch (const CLI::ParseError& e) {
        const int code = app.exit(e);
        return code == 0 ? 0 : kUsageExit;
    }

    // The virtual board reads it at every open; another SDK ignores it.
    if (!benchPath.empty()) setenv("PELLUCID_BENCH", benchPath.c_str(), 1);
    try {
        const pellucid::BoardLock lock(boardIndex);
        const pellucid::WorkingConfiguration working(boardIndex);
        if (*reset) {
            if (working.remove())
                std::printf("board %u: back to the applet's defaults\n", boardIndex);
            else
                std::printf("board %u: already at the applet's defaults\n", boardIndex);
            return EXIT_SUCCESS;
        }
        Board board(boardIndex);
        // The reference documents the defaults; status compares against them itself.
        if (!*docs && !*status) working.applyTo(board);
        if (*status) {
            printStatus(board, working);
        } else if (*list) {
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
            working.save(board);
        } else if (*save) {
            saveSetup.apply(board);
            board.saveConfig(savePath);
            std::printf("saved %s\n", savePath.c_str());
        } else if (*load) {
            board.loadConfig(loadPath);
            working.save(board);
            std::printf("loaded %s\n", loadPath.c_str());
        } else if (*xml) {
            xmlSetup.apply(board);
            writeText(board.xml(), xmlPath);
        } else if (*docs) {
            writeText(pellucid::parameterReference(board), docsPath);
        } else if (*grab) {
            grabSetup.apply(board);
            // Caught from here on: a grab ends after the picture in hand, with its summary.
            const pellucid::InterruptGuard interrupt;
            grabOptions.stop = &pellucid::InterruptGuard::signal();
            const pellucid::GrabResult r = pellucid::grab(board, grabOptions, progressBar());
            std::printf("%ld frames in %.3f s: %.1f frames/s, %ld dropped", r.written, r.seconds,
                        r.framesPerSecond(), r.dropped());
            if (r.dropped() > 0) std::printf(" (%ld skipped, %ld lost)", r.skipped, r.lost);
            std::printf("\n");
            if (r.signal != 0) {
                std::fflush(stdout);
                return 128 + r.signal;
            }
        } else if (*view) {
            const pellucid::InterruptGuard interrupt;
            pellucid::viewer::Viewer viewer(board, &working, viewOptions);
            std::printf("board %u: viewing at http://127.0.0.1:%d/ (Ctrl-C ends)\n", boardIndex,
                        viewer.port());
            std::fflush(stdout);
            viewer.run(&pellucid::InterruptGuard::signal());
        }
    } catch (const pellucid::UsageError& e) {
        std::fflush(stdout);
        return usageError(e.what());
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
