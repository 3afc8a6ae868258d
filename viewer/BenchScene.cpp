#include "BenchScene.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <cstdlib>
#include <fstream>

#include "ParameterJson.h"

namespace pellucid::viewer {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const char* const kBenchVariable = "PELLUCID_BENCH";

void setBenchVariable(const std::string& path) {
    if (path.empty())
        unsetenv(kBenchVariable);
    else
        setenv(kBenchVariable, path.c_str(), 1);
}

}  // namespace

BenchScene::BenchScene() {
    // Only the virtual board's SDK says more about a failed open; only it has a bench.
    available_ = dlsym(RTLD_DEFAULT, "Fg_getLastErrorDetail") != nullptr;
    const char* bench = std::getenv(kBenchVariable);
    original_ = bench != nullptr ? bench : "";
    base_ = json::object();
    if (original_.empty()) return;
    std::ifstream in(original_);
    // The board opened on this file, so it reads; anything else leaves the default bench.
    base_ = json::parse(in, nullptr, false);
    if (!base_.is_object()) base_ = json::object();
    const json scene = base_.value("scene", json::object());
    const fs::path folder = fs::absolute(fs::path(original_)).parent_path();
    if (scene.contains("png"))
        current_ = {{"kind", "png"}, {"path", (folder / scene.value("png", "")).lexically_normal().string()}};
    else if (scene.contains("folder"))
        current_ = {{"kind", "folder"},
                    {"path", (folder / scene.value("folder", "")).lexically_normal().string()}};
    else if (!scene.value("moving", true))
        current_ = {{"kind", "still"}, {"path", ""}};
}

BenchScene::~BenchScene() {
    setBenchVariable(original_);
}

json BenchScene::describe() const {
    return {{"available", available_},
            {"kinds", json::array({{{"kind", "chart"}, {"label", "Test chart, moving"}, {"path", false}},
                                   {{"kind", "still"}, {"label", "Test chart, still"}, {"path", false}},
                                   {{"kind", "png"}, {"label", "PNG file"}, {"path", true}},
                                   {{"kind", "folder"}, {"label", "Folder of PNG files"}, {"path", true}}})},
            {"current", current_}};
}

void BenchScene::choose(Board& board, const json& request) {
    if (!available_) throw HttpError(404, "this board has no bench camera whose scene could be chosen");
    if (!request.is_object() || !request.contains("kind") || !request["kind"].is_string())
        throw HttpError(400, "the scene must be {\"kind\": \"chart\", \"still\", \"png\" or \"folder\"}");
    const std::string kind = request["kind"];
    const json path = request.value("path", json());
    json scene = json::object();
    if (const json old = base_.value("scene", json::object()); old.contains("reference_exposure_us"))
        scene["reference_exposure_us"] = old["reference_exposure_us"];
    std::string file;
    if (kind == "chart" || kind == "still") {
        scene["chart"] = true;
        scene["moving"] = kind == "chart";
    } else if (kind == "png" || kind == "folder") {
        if (!path.is_string() || path.get<std::string>().empty())
            throw HttpError(400, "a " + kind + " scene needs \"path\": the " +
                                     (kind == "png" ? "PNG file" : "folder of PNG files"));
        file = fs::absolute(path.get<std::string>()).lexically_normal().string();
        scene[kind] = file;
    } else {
        throw HttpError(400, "unknown scene kind \"" + kind + "\"; kinds: chart, still, png, folder");
    }
    json bench = base_;
    bench["scene"] = scene;

    if (!folder_) folder_.emplace();
    const std::string benchPath = folder_->file("bench" + std::to_string(++written_) + ".json");
    std::ofstream(benchPath) << bench.dump(2);
    const std::string settings = folder_->file("settings.mcf");
    board.saveConfig(settings);
    const char* before = std::getenv(kBenchVariable);
    const std::string previous = before != nullptr ? before : "";
    try {
        reopenOn(board, benchPath, settings);
    } catch (const ToolError& e) {
        reopenOn(board, previous, settings);
        // The description is the viewer's temporary file; the reason is what matters.
        std::string why = e.what();
        if (const size_t at = why.find(benchPath + ": "); at != std::string::npos)
            why.erase(at, benchPath.size() + 2);
        throw HttpError(400, why);
    }
    current_ = {{"kind", kind}, {"path", file}};
}

void BenchScene::reopenOn(Board& board, const std::string& bench, const std::string& settings) {
    setBenchVariable(bench);
    board.reopen();
    board.loadConfig(settings);
}

}  // namespace pellucid::viewer
