// The viewer's HTTP API against board 0 in-process, and `pellucid view` as its own process.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <turbojpeg.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "Board.h"
#include "State.h"
#include "Viewer.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

std::string slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// Width and height of a JPEG picture, {0, 0} when it is none.
std::pair<int, int> jpegSize(const std::string& jpeg) {
    tjhandle tj = tjInitDecompress();
    int w = 0, h = 0, sub = 0, space = 0;
    if (tjDecompressHeader3(tj, reinterpret_cast<const unsigned char*>(jpeg.data()),
                            static_cast<unsigned long>(jpeg.size()), &w, &h, &sub, &space) != 0)
        w = h = 0;
    tjDestroy(tj);
    return {w, h};
}

// Every test keeps the board's state in a folder of its own.
class StateFolder {
  public:
    StateFolder() : dir_(fs::temp_directory_path() / ("pellucid_viewer_" + std::to_string(getpid()))) {
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        setenv("XDG_STATE_HOME", dir_.c_str(), 1);
    }
    ~StateFolder() { fs::remove_all(dir_); }
    const fs::path& dir() const { return dir_; }

  private:
    fs::path dir_;
};

class ViewerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        board_.loadConfig(PELLUCID_SIMULATOR_MCF);
        viewer_ =
            std::make_unique<pellucid::viewer::Viewer>(board_, &working_, pellucid::viewer::ViewerOptions{0});
        server_ = std::thread([this] { viewer_->run(nullptr); });
        client_ = std::make_unique<httplib::Client>("127.0.0.1", viewer_->port());
    }
    void TearDown() override {
        viewer_->stop();
        server_.join();
    }

    httplib::Result post(const std::string& path, const std::string& body) {
        return client_->Post(path.c_str(), body, "application/json");
    }
    // The next frame's size, waiting past the ones already encoded.
    std::pair<int, int> nextFrameSize() {
        const json s = json::parse(client_->Get("/api/status")->body);
        const auto r =
            client_->Get(("/api/frame?after=" + std::to_string(s["sequence"].get<uint64_t>())).c_str());
        return r && r->status == 200 ? jpegSize(r->body) : std::pair<int, int>{0, 0};
    }
    std::string value(const std::string& name) {
        const json tree = json::parse(client_->Get("/api/parameters")->body);
        for (const json& g : tree["groups"])
            for (const json& p : g["parameters"])
                if (p["name"] == name) return p.value("value", "");
        return "?";
    }

    StateFolder state_;
    pellucid::Board board_{0};
    pellucid::WorkingConfiguration working_{0};
    std::unique_ptr<pellucid::viewer::Viewer> viewer_;
    std::thread server_;
    std::unique_ptr<httplib::Client> client_;
};

TEST_F(ViewerTest, BadRequestsGetTheReasonAndChangeNothing) {
    struct Case {
        std::string path, body;
        int status;
        std::string inError;
    };
    std::string refusedConfig = slurp(PELLUCID_SIMULATOR_MCF);
    refusedConfig.replace(refusedConfig.find("FG_WIDTH=1024;"), 14, "FG_WIDTH=1000;");
    const Case cases[] = {
        {"/api/parameters", R"({"name": "FG_NOSUCH", "value": "1"})", 404, "unknown parameter"},
        {"/api/parameters", R"({"name": "FG_WIDTH", "value": "wide"})", 400,
         "is not an unsigned 32-bit number"},
        {"/api/parameters", R"({"name": "FG_WIDTH", "value": 99999})", 400, "out of range (-6000)"},
        {"/api/parameters", R"({"name": "FG_WIDTH", "value": "1000"})", 400, "multiple of 16"},
        {"/api/parameters", R"({"name": "FG_WIDTH", "value": [512]})", 400, "must be a string or a number"},
        {"/api/parameters", R"({"name": "FG_FORMAT", "value": "FG_COL99"})", 400, "has no entry"},
        {"/api/parameters", R"({"name": "FG_PIXELDEPTH", "value": "8"})", 409, "read-only"},
        {"/api/parameters", R"({"name": "FG_LUT_VALUE_RED", "value": "1"})", 400,
         "not settable as one value"},
        {"/api/parameters", "FG_WIDTH=512", 400, "not a JSON object"},
        {"/api/parameters", R"({"value": "512"})", 400, "names no parameter"},
        {"/api/parameters", std::string(100000, ' '), 413, ""},
        {"/api/config", refusedConfig, 400, "FG_WIDTH"},
        {"/api/scene", R"({"kind": "movie"})", 400, "unknown scene kind"},
        {"/api/scene", R"({"kind": "png"})", 400, "needs"},
        {"/api/scene", R"({"kind": "png", "path": "/no/such.png"})", 400, "No such file or directory"},
    };
    for (const Case& c : cases) {
        const auto r = post(c.path, c.body);
        ASSERT_TRUE(r) << c.body;
        EXPECT_EQ(r->status, c.status) << c.body << ": " << r->body;
        EXPECT_NE(r->body.find(c.inError), std::string::npos) << c.body << ": " << r->body;
    }
    EXPECT_EQ(client_->Get("/api/frame?after=x")->status, 400);
    EXPECT_EQ(value("FG_WIDTH"), "1024");
    EXPECT_EQ(value("FG_FORMAT"), "2");
    EXPECT_FALSE(working_.exists()) << "a refused request saved the settings";
    EXPECT_EQ(nextFrameSize(), std::make_pair(1024, 1024)) << "the pictures stopped after a refusal";
}

TEST_F(ViewerTest, AChangeShowsInTheNextFramesAndLastsLikeSet) {
    ASSERT_EQ(nextFrameSize(), std::make_pair(1024, 1024));
    const auto r = post("/api/parameters", R"({"name": "width", "value": 512})");
    ASSERT_EQ(r->status, 200) << r->body;
    EXPECT_NE(r->body.find(R"("name":"FG_WIDTH")"), std::string::npos) << "the answer is the whole tree";
    EXPECT_EQ(post("/api/parameters", R"({"name": "FG_FORMAT", "value": "FG_COL48"})")->status, 200);
    EXPECT_EQ(nextFrameSize(), std::make_pair(512, 1024));
    const std::string saved = slurp(working_.path());
    EXPECT_NE(saved.find("FG_WIDTH=512;"), std::string::npos);
    EXPECT_NE(saved.find("FG_FORMAT=6;"), std::string::npos);

    // A scene change reopens the board, which keeps those settings.
    EXPECT_EQ(post("/api/scene", R"({"kind": "still"})")->status, 200);
    EXPECT_EQ(json::parse(client_->Get("/api/scene")->body)["current"]["kind"], "still");
    EXPECT_EQ(value("FG_WIDTH"), "512");
    EXPECT_EQ(nextFrameSize(), std::make_pair(512, 1024));
}

TEST_F(ViewerTest, ConfigurationFilesGoBothWays) {
    const auto saved = client_->Get("/api/config");
    ASSERT_EQ(saved->status, 200);
    EXPECT_NE(saved->body.find("FG_WIDTH=1024;"), std::string::npos);
    ASSERT_EQ(post("/api/parameters", R"({"name": "FG_WIDTH", "value": "256"})")->status, 200);
    const auto loaded = client_->Post("/api/config", saved->body, "text/plain");
    EXPECT_EQ(loaded->status, 200) << loaded->body;
    EXPECT_EQ(value("FG_WIDTH"), "1024");
    EXPECT_NE(slurp(working_.path()).find("FG_WIDTH=1024;"), std::string::npos);
    EXPECT_EQ(nextFrameSize(), std::make_pair(1024, 1024));
}

TEST_F(ViewerTest, StopEndsThePicturesUntilStart) {
    ASSERT_NE(nextFrameSize().first, 0);
    EXPECT_EQ(json::parse(post("/api/stop", "")->body)["running"], false);
    EXPECT_EQ(nextFrameSize().first, 0);
    EXPECT_EQ(json::parse(post("/api/start", "")->body)["running"], true);
    EXPECT_NE(nextFrameSize().first, 0);
    // Outside software-trigger mode the board refuses a pulse, and says why.
    const auto pulse = post("/api/trigger", "");
    EXPECT_EQ(pulse->status, 400);
    EXPECT_NE(pulse->body.find("software trigger"), std::string::npos) << pulse->body;
}

// What is served can change the board, so nothing but this machine may reach it.
TEST_F(ViewerTest, ListensOnTheLoopbackAddressOnly) {
    char port[8];
    std::snprintf(port, sizeof port, "%04X", viewer_->port());
    std::ifstream tcp("/proc/net/tcp");
    std::string line;
    int listening = 0;
    while (std::getline(tcp, line)) {
        std::istringstream fields(line);
        std::string slot, local, remote, state;
        fields >> slot >> local >> remote >> state;
        if (state != "0A" || local.substr(local.find(':') + 1) != port) continue;
        ++listening;
        EXPECT_EQ(local.substr(0, local.find(':')), "0100007F") << line;
    }
    EXPECT_EQ(listening, 1);
    ifaddrs* addresses = nullptr;
    ASSERT_EQ(getifaddrs(&addresses), 0);
    for (const ifaddrs* a = addresses; a != nullptr; a = a->ifa_next) {
        if (a->ifa_addr == nullptr || a->ifa_addr->sa_family != AF_INET) continue;
        sockaddr_in to = *reinterpret_cast<const sockaddr_in*>(a->ifa_addr);
        if ((ntohl(to.sin_addr.s_addr) >> 24) == 127) continue;
        to.sin_port = htons(static_cast<uint16_t>(viewer_->port()));
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        EXPECT_NE(connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to), 0) << a->ifa_name;
        close(fd);
    }
    freeifaddrs(addresses);
}

// The tool's process: it holds the board like every command, and a taken port is a clear error.
TEST(ViewCommand, HoldsTheBoardAndRefusesATakenPort) {
    const StateFolder state;
    int out[2];
    ASSERT_EQ(pipe(out), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    char* argv[] = {const_cast<char*>(PELLUCID_TOOL), const_cast<char*>("view"), const_cast<char*>("--port"),
                    const_cast<char*>("0"), nullptr};
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, PELLUCID_TOOL, &actions, nullptr, argv, environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    std::string first;
    for (char c = 0; first.find('\n') == std::string::npos && read(out[0], &c, 1) == 1;) first += c;
    close(out[0]);
    const size_t at = first.find("http://127.0.0.1:");
    ASSERT_NE(at, std::string::npos) << first;
    const std::string port = first.substr(at + 17, first.find('/', at + 17) - at - 17);

    const auto run = [&](const std::string& args) {
        const std::string command = std::string("'") + PELLUCID_TOOL + "' " + args + " 2>&1";
        std::string text;
        FILE* p = popen(command.c_str(), "r");
        for (int c; (c = std::fgetc(p)) != EOF;) text += static_cast<char>(c);
        const int status = pclose(p);
        return std::make_pair(WIFEXITED(status) ? WEXITSTATUS(status) : -1, text);
    };
    const auto held = run("get FG_WIDTH");
    EXPECT_EQ(held.first, 1);
    EXPECT_NE(held.second.find("board 0 is in use by process " + std::to_string(pid)), std::string::npos)
        << held.second;
    const auto taken = run("--board 1 view --port " + port);
    EXPECT_EQ(taken.first, 1);
    EXPECT_NE(taken.second.find("cannot listen on 127.0.0.1:" + port + ": the port is in use"),
              std::string::npos)
        << taken.second;

    kill(pid, SIGTERM);
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
