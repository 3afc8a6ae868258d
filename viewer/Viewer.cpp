#include "Viewer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <httplib.h>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

#include "BenchScene.h"
#include "Docs.h"
#include "LiveFrames.h"
#include "PageAssets.h"
#include "ParameterJson.h"
#include "ScratchFolder.h"

namespace pellucid::viewer {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

const char* const kLoopback = "127.0.0.1";
constexpr auto kFrameWait = std::chrono::milliseconds(2000);

// Why a port cannot be had: the library only says that it cannot, so a plain bind asks again.
std::string bindFailure(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return std::strerror(errno);
    const int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int rc = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const int error = errno;
    close(fd);
    if (rc == 0) return "the port could not be bound";
    if (error == EADDRINUSE) return "the port is in use by another program (choose another with --port)";
    return std::strerror(error);
}

void reply(httplib::Response& res, const json& body, int status = 200) {
    res.status = status;
    res.set_header("Cache-Control", "no-store");
    res.set_content(body.dump(), "application/json");
}

void refuse(httplib::Response& res, const HttpError& e) {
    json body = {{"error", e.what()}};
    if (!e.parameter.empty()) body["parameter"] = e.parameter;
    reply(res, body, e.status);
}

json parseBody(const httplib::Request& req) {
    json body = json::parse(req.body, nullptr, false);
    if (body.is_discarded() || !body.is_object())
        throw HttpError(400, "the request body is not a JSON object");
    return body;
}

std::string slurp(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

}  // namespace

struct Viewer::Impl {
    Impl(Board& board, const WorkingConfiguration* working, const ViewerOptions& options)
        : board(board), working(working), frames(board, options.buffers, options.jpegQuality) {
        // Tool tips come from the GenApi document, which does not change while the board is open.
        try {
            help = toolTips(board.xml());
        } catch (const ToolError&) {
            // a board without the document: no help texts
        }
        // One program per port: the library's default would let a second one share it.
        server.set_socket_options([](int fd) {
            const int yes = 1;
            setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        });
        server.set_payload_max_length(options.maxBody);
        server.set_exception_handler(
            [](const httplib::Request&, httplib::Response& res, std::exception_ptr ep) {
                try {
                    std::rethrow_exception(ep);
                } catch (const HttpError& e) {
                    refuse(res, e);
                } catch (const std::exception& e) {
                    reply(res, {{"error", e.what()}}, 500);
                } catch (...) {
                    reply(res, {{"error", "unknown failure"}}, 500);
                }
            });
        routes();
        if (options.port == 0) {
            port = server.bind_to_any_port(kLoopback);
            if (port < 0) throw ToolError("cannot listen on 127.0.0.1: " + bindFailure(0));
        } else {
            if (options.port < 0 || options.port > 65535)
                throw UsageError("--port " + std::to_string(options.port) + " is not a port (1..65535)");
            if (!server.bind_to_port(kLoopback, options.port))
                throw ToolError("cannot listen on 127.0.0.1:" + std::to_string(options.port) + ": " +
                                bindFailure(options.port));
            port = options.port;
        }
    }

    // The working configuration follows every change that took.
    void changed() {
        frames.settingsChanged();
        if (working != nullptr) working->save(board);
    }

    json status() {
        const FrameStats s = frames.stats();
        return {{"running", s.running},   {"boardFps", s.boardFps}, {"shownFps", s.shownFps},
                {"picture", s.pictures},  {"skipped", s.skipped},   {"lost", s.lost},
                {"sequence", s.sequence}, {"width", s.width},       {"height", s.height},
                {"error", s.error},       {"board", board.index()}, {"scene", scene.available()}};
    }

    void routes() {
        for (const PageAsset& asset : pageAssets()) {
            server.Get(asset.path, [&asset](const httplib::Request&, httplib::Response& res) {
                res.set_header("Cache-Control", "no-store");
                res.set_content(reinterpret_cast<const char*>(asset.data), asset.size, asset.mediaType);
            });
        }
        server.Get("/api/parameters", [this](const httplib::Request&, httplib::Response& res) {
            std::lock_guard lock(boardMutex);
            reply(res, parameterTree(board, help));
        });
        server.Post("/api/parameters", [this](const httplib::Request& req, httplib::Response& res) {
            const json body = parseBody(req);
            if (!body.contains("name") || !body["name"].is_string())
                throw HttpError(400, "the request names no parameter: {\"name\": ..., \"value\": ...}");
            const std::string name = body["name"];
            const json& value = body.value("value", json());
            if (!value.is_string() && !value.is_number())
                throw HttpError(400, "the value for " + name + " must be a string or a number", name);
            std::lock_guard lock(boardMutex);
            setParameter(board, name, value.is_string() ? value.get<std::string>() : value.dump());
            changed();
            reply(res, parameterTree(board, help));
        });
        server.Get("/api/status",
                   [this](const httplib::Request&, httplib::Response& res) { reply(res, status()); });
        server.Post("/api/start", [this](const httplib::Request&, httplib::Response& res) {
            frames.start();
            reply(res, status());
        });
        server.Post("/api/stop", [this](const httplib::Request&, httplib::Response& res) {
            frames.stop();
            reply(res, status());
        });
        server.Post("/api/trigger", [this](const httplib::Request&, httplib::Response& res) {
            std::lock_guard lock(boardMutex);
            setParameter(board, "FG_SENDSOFTWARETRIGGER", "1");
            reply(res, status());
        });
        server.Get("/api/frame", [this](const httplib::Request& req, httplib::Response& res) {
            uint64_t after = 0;
            if (req.has_param("after")) {
                const std::string text = req.get_param_value("after");
                const auto [p, ec] = std::from_chars(text.data(), text.data() + text.size(), after);
                if (ec != std::errc() || p != text.data() + text.size())
                    throw HttpError(400, "after=" + text + " is not a frame number");
            }
            const EncodedFrame f = frames.next(after, kFrameWait);
            res.set_header("Cache-Control", "no-store");
            if (f.sequence <= after || !f.jpeg) {
                res.status = 204;  // none newer yet: ask again
                return;
            }
            res.set_header("X-Frame-Sequence", std::to_string(f.sequence));
            res.set_header("X-Picture", std::to_string(f.picture));
            res.set_content(reinterpret_cast<const char*>(f.jpeg->data()), f.jpeg->size(), "image/jpeg");
        });
        server.Get("/api/config", [this](const httplib::Request&, httplib::Response& res) {
            const ScratchFolder scratch;
            const std::string path = scratch.file("board.mcf");
            {
                std::lock_guard lock(boardMutex);
                board.saveConfig(path);
            }
            res.set_header("Cache-Control", "no-store");
            res.set_header("Content-Disposition",
                           "attachment; filename=\"board" + std::to_string(board.index()) + ".mcf\"");
            res.set_content(slurp(path), "text/plain; charset=iso-8859-1");
        });
        server.Post("/api/config", [this](const httplib::Request& req, httplib::Response& res) {
            if (req.body.empty()) throw HttpError(400, "the request holds no configuration file");
            const ScratchFolder scratch;
            const std::string path = scratch.file("upload.mcf");
            std::ofstream(path, std::ios::binary) << req.body;
            std::lock_guard lock(boardMutex);
            {
                const LiveFrames::Pause pause(frames);
                try {
                    board.loadConfig(path);
                } catch (const ToolError& e) {
                    // The file's name on the page is the person's, not the temporary copy's.
                    std::string why = e.what();
                    if (const size_t at = why.find(path); at != std::string::npos)
                        why.replace(at, path.size(), "the file");
                    throw HttpError(400, why);
                }
            }
            changed();
            reply(res, parameterTree(board, help));
        });
        server.Get("/api/scene", [this](const httplib::Request&, httplib::Response& res) {
            std::lock_guard lock(boardMutex);
            reply(res, scene.describe());
        });
        server.Post("/api/scene", [this](const httplib::Request& req, httplib::Response& res) {
            const json body = parseBody(req);
            std::lock_guard lock(boardMutex);
            {
                const LiveFrames::Pause pause(frames);
                scene.choose(board, body);
            }
            frames.settingsChanged();
            reply(res, scene.describe());
        });
    }

    Board& board;
    const WorkingConfiguration* working;
    std::map<std::string, std::string> help;
    BenchScene scene;
    std::mutex boardMutex;  // parameter calls and walks of the description records, one at a time
    LiveFrames frames;
    httplib::Server server;
    int port = 0;
    // A stop can come before the server runs, when the library's own stop would do nothing.
    std::atomic<bool> serving{false}, stopping{false};
};

Viewer::Viewer(Board& board, const WorkingConfiguration* working, const ViewerOptions& options)
    : impl_(std::make_unique<Impl>(board, working, options)) {}

Viewer::~Viewer() {
    stop();
}

int Viewer::port() const {
    return impl_->port;
}

void Viewer::run(const std::atomic<int>* stop) {
    const auto serve = [this] {
        impl_->serving = true;
        if (!impl_->stopping) impl_->server.listen_after_bind();
        impl_->serving = false;
    };
    if (stop == nullptr) {
        serve();
        return;
    }
    // The server runs on a thread of its own and the caller's thread, which takes the signals,
    // only sleeps: a handler for a signal that lands in the server's restarted accept may never
    // run where the runtime defers handlers until the call returns (ThreadSanitizer does).
    std::atomic<bool> done{false};
    sigset_t signals, old;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, &old);  // the server and its workers inherit the mask
    std::thread server([&] {
        serve();
        done = true;
    });
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    while (!done && stop->load() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    this->stop();
    server.join();
}

void Viewer::stop() {
    impl_->stopping = true;
    while (impl_->serving && !impl_->server.is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    impl_->server.stop();
}

}  // namespace pellucid::viewer
