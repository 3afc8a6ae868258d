#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "TempFiles.h"
#include "scratch_file.h"

namespace fs = std::filesystem;

namespace {

// Independent rendering of the name tried for a state value.
std::string candidate(const std::string& dir, uint64_t state) {
    static const char digits[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::string six;
    for (int i = 0; i < 6; ++i, state /= 62) six += digits[state % 62];
    return dir + "/coef-" + six + ".tiff";
}

}  // namespace

TEST(TempFiles, CreateAndDelete) {
    char* first = qorv::createTempFile();
    char* second = qorv::createTempFile();
    ASSERT_TRUE(first && second);
    EXPECT_STRNE(first, second);
    for (const char* path : {first, second}) {
        EXPECT_TRUE(std::regex_match(path, std::regex(R"(/tmp/coef-[a-zA-Z0-9]{6}\.tiff)"))) << path;
        struct stat st;
        ASSERT_EQ(lstat(path, &st), 0);
        EXPECT_TRUE(S_ISREG(st.st_mode));
        EXPECT_EQ(st.st_mode & 07777, 0600u);
    }
    const std::string name = first;
    qorv::deleteTempFile(first);
    qorv::deleteTempFile(second);
    qorv::deleteTempFile(nullptr);
    EXPECT_FALSE(fs::exists(name));
}

TEST(TempFiles, MalformedTemplatesAreRefusedUntouched) {
    const std::pair<const char*, int> cases[] = {{"/tmp/coef-XXXXXX.tiff", 6},
                                                 {"/tmp/coef-XXXXX.tiff", 5},
                                                 {"/tmp/coef-XXXXXX.tiff", 4},
                                                 {"/tmp/coef-XXXXXX.tiff", -1},
                                                 {"XXXXXX", 1},
                                                 {"XXXXX", 0}};
    for (const auto& [templ, suffix] : cases) {
        std::string buf = templ;
        uint64_t state = 99;
        EXPECT_EQ(qorv::mkstemps(buf.data(), suffix), -1) << templ << " " << suffix;
        EXPECT_EQ(qorv::mkstempsFrom(buf.data(), suffix, state), -1);
        EXPECT_EQ(buf, templ);
        EXPECT_EQ(state, 99u);
    }
    EXPECT_EQ(qorv::mkstemps(nullptr, 0), -1);
}

TEST(TempFiles, CandidatesFollowTheStateAndSkipFilesAndLinks) {
    char dirTemplate[] = "/tmp/pellucid-tempfiles-XXXXXX";
    ASSERT_NE(mkdtemp(dirTemplate), nullptr);
    const std::string dir = dirTemplate, templ = dir + "/coef-XXXXXX.tiff", target = dir + "/link-target";
    const uint64_t start = 123456789;
    const std::string first = candidate(dir, start);

    for (const char* obstacle : {"none", "regular file", "symlink"}) {
        SCOPED_TRACE(obstacle);
        if (obstacle[0] == 's') {
            fs::remove(first);
            ASSERT_EQ(symlink(target.c_str(), first.c_str()), 0);
        }
        uint64_t state = start;
        std::string buf = templ;
        const int fd = qorv::mkstempsFrom(buf.data(), 5, state);
        ASSERT_GE(fd, 0);
        close(fd);
        const uint64_t expected = obstacle[0] == 'n' ? start : start + 7777;
        EXPECT_EQ(buf, candidate(dir, expected));
        EXPECT_EQ(state, expected);
        EXPECT_FALSE(fs::exists(target));
        if (obstacle[0] != 'n') fs::remove(buf);  // keep the first candidate as the obstacle
    }
    EXPECT_EQ(fs::symlink_status(first).type(), fs::file_type::symlink);
    fs::remove_all(dir);
}

TEST(TempFiles, ExhaustionZeroesTheTemplate) {
    char buf[] = "/nonexistent-pellucid-dir/coef-XXXXXX.tiff";
    uint64_t state = 5;
    EXPECT_EQ(qorv::mkstempsFrom(buf, 5, state), -1);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(state, 5u + 238328u * 7777u);
}

// The fuzzers' scratch file: a name planted in /tmp beforehand (a symlink) must not be followed.
TEST(TempFiles, ScratchFileFollowsNoPlantedLink) {
    const fs::path target = fs::temp_directory_path() / ("scratch_target_" + std::to_string(getpid()));
    const std::string planted = "/tmp/scratch_test_" + std::to_string(getpid()) + ".txt";
    { std::ofstream(target) << "keep"; }
    fs::create_symlink(target, planted);
    const uint8_t data[] = {'n', 'e', 'w'};
    const std::string path = writeScratchFile("scratch_test", ".txt", data, sizeof data);
    std::string kept;
    std::ifstream(target) >> kept;
    EXPECT_EQ(kept, "keep");
    EXPECT_NE(path, planted);
    EXPECT_FALSE(fs::is_symlink(path));
    fs::remove(planted);
    fs::remove(target);
}
