// What the virtual board's bench camera looks at, chosen from the viewer. The board reads its
// bench description at every open, so a new scene is a new description and a reopened board that
// keeps its settings. Other SDKs have no bench: the choice is then unavailable.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "Board.h"
#include "ScratchFolder.h"

namespace pellucid::viewer {

class BenchScene {
  public:
    // The bench PELLUCID_BENCH names at this point is the one whose scene changes.
    BenchScene();
    ~BenchScene();
    BenchScene(const BenchScene&) = delete;
    BenchScene& operator=(const BenchScene&) = delete;

    bool available() const { return available_; }
    // {"available", "kinds": [{"kind", "label", "path": bool}], "current": {"kind", "path"}}
    nlohmann::json describe() const;

    // `request`: {"kind": "chart" | "still" | "png" | "folder", "path": "..."}. Reopens `board`
    // on the new bench with its settings. A scene the board refuses is an HttpError 400 with the
    // bench reader's reason, the board back on the scene it had.
    void choose(Board& board, const nlohmann::json& request);

  private:
    void reopenOn(Board& board, const std::string& bench, const std::string& settings);

    bool available_ = false;
    nlohmann::json base_;  // the bench description without its scene
    nlohmann::json current_ = {{"kind", "chart"}, {"path", ""}};
    std::optional<ScratchFolder> folder_;  // the descriptions written
    std::string original_;                 // PELLUCID_BENCH as it was
    int written_ = 0;
};

}  // namespace pellucid::viewer
