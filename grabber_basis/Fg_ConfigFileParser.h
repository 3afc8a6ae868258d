// Reads and writes configuration files (".mcf"): a header section "[Kamerasektion]" and one
// section per camera port ("[Port A]", "[Port B]", ...) of "key=value;" lines.
//
// Numbers are written and read with "." as the decimal separator whatever the process locale.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

class Fg_Log;

class Fg_ConfigFileParser {
  public:
    // Opens `path` when it has the configuration type and exists ("r" when read-only, else "r+").
    Fg_ConfigFileParser(Fg_Log* log, const char* path, bool readOnly);
    ~Fg_ConfigFileParser();
    Fg_ConfigFileParser(const Fg_ConfigFileParser&) = delete;
    Fg_ConfigFileParser& operator=(const Fg_ConfigFileParser&) = delete;

    int setSaveFile(const char* path);     // 1 opened for writing, 0 wrong type or open failed
    int checkFileType(const char* path);   // 1 when the path contains ".mcf"
    int checkFileExist(const char* path);  // 1 when the file can be opened for reading
    bool isOpen() const { return mConfigFile != nullptr; }

    // ---- writers: one line each, flushed ----
    void writeConfigFileHeader();
    void writeConfigFileByPort(int port);
    void writeConfigFilePortA() { writeConfigFileByPort(0); }
    void writeConfigFilePortB() { writeConfigFileByPort(1); }
    void writeConfigFile(const char* key, const char* text);       // key='text';
    void writeConfigFileValue(const char* key, const char* text);  // key=text;
    void writeConfigFileIntKey(const char* key, int value);
    void writeConfigFileUInt64Key(const char* key, uint64_t value);
    void writeConfigFileDoubleKey(const char* key, double value);  // %.12g

    // ---- readers ----
    // The first line holding `key` anywhere; its value up to the next quote, or with whatever
    // follows it (";" and the line end) when unquoted. 0, or -8000 with out = "Error".
    int parseKeyFromLine(const char* key, std::string& out);
    // The first line after the line holding `section` that begins with "key=" (the search runs
    // on past the next section). 0, or -8000 with out = "Error".
    int parseKey(const char* section, const char* key, std::string& out);
    // 0, or -1 when the key is not found (the value is then left as it was).
    int parseIntKey(const char* section, const char* key, int& value);
    int parseUInt64Key(const char* section, const char* key, uint64_t& value);
    int parseDoubleKey(const char* section, const char* key, double& value);
    int parseIntKeyFromHeader(const char* key, int& value);
    // The same in the section of a port; -1 for a null key.
    int parseKeySection(int port, const char* key, std::string& out);
    int parseIntKeySection(int port, const char* key, int& value);
    int parseUInt64KeySection(int port, const char* key, uint64_t& value);
    int parseDoubleKeySection(int port, const char* key, double& value);

    static std::string getPortString(int port);

  private:
    // Files up to this size are read once and kept for the searches; larger ones are read again
    // for each search, so a read never holds more than this much of a file.
    static constexpr size_t kCachedBytes = 64 * 1024;

    // Calls `visit` with the file's pieces from the top until it returns true. A piece is what
    // the line reader sees: at most 255 characters, ending at a line feed or where the reader's
    // buffer was full, and only up to its first zero byte.
    void scan(const std::function<bool(const std::string&)>& visit);
    bool readPiece(std::string& piece);
    void forgetPieces();
    void writeLine(const char* key, const char* value);
    void trace(const char* function);

    FILE* mConfigFile = nullptr;
    Fg_Log* mFg_Log = nullptr;
    std::vector<std::string> mPieces;
    bool mPiecesRead = false;
    bool mTooLargeToKeep = false;
};
