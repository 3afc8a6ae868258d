#include "Fg_ConfigFileParser.h"

#include <cctype>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "Fg_Log.h"
#include "FileOpen.h"
#include "fg_constants.h"

namespace {

constexpr size_t kLineLength = 255;  // what one read of a line delivers at most

// The pieces between runs of delimiter characters, as a tokenizer that skips empty tokens sees them.
std::vector<std::string> tokens(const std::string& text, const char* delimiters) {
    std::vector<std::string> out;
    size_t pos = 0;
    while (true) {
        pos = text.find_first_not_of(delimiters, pos);
        if (pos == std::string::npos) break;
        const size_t end = text.find_first_of(delimiters, pos);
        out.push_back(text.substr(pos, end == std::string::npos ? std::string::npos : end - pos));
        if (end == std::string::npos) break;
        pos = end;
    }
    return out;
}

// A decimal number at the start of `text` (after white space), independent of the locale;
// conversion stops at the first character that does not belong to it, and nothing gives 0.
double toDouble(const std::string& text) {
    const char* p = text.c_str();
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    if (*p == '+') ++p;
    double value = 0.0;
    const auto result = std::from_chars(p, text.c_str() + text.size(), value);
    return result.ec == std::errc() ? value : 0.0;
}

}  // namespace

Fg_ConfigFileParser::Fg_ConfigFileParser(Fg_Log* log, const char* path, bool readOnly) : mFg_Log(log) {
    trace("Fg_ConfigFileParser::Fg_ConfigFileParser(char * filename)");
    if (path != nullptr && checkFileType(path) && checkFileExist(path)) {
        mConfigFile = qorv::openRegularFile(path, readOnly ? "r" : "r+");
    }
}

Fg_ConfigFileParser::~Fg_ConfigFileParser() {
    trace("Fg_ConfigFileParser::~Fg_ConfigFileParser");
    if (mConfigFile != nullptr) {
        std::fflush(mConfigFile);
        std::fclose(mConfigFile);
    }
}

void Fg_ConfigFileParser::trace(const char* function) {
    if (mFg_Log != nullptr) mFg_Log->Func(function);
}

int Fg_ConfigFileParser::checkFileType(const char* path) {
    trace("Fg_ConfigFileParser::checkFileType");
    const bool ok = path != nullptr && std::strstr(path, ".mcf") != nullptr;
    if (mFg_Log != nullptr) mFg_Log->Func(ok ? "File type ok" : "File type not ok");
    return ok ? 1 : 0;
}

int Fg_ConfigFileParser::checkFileExist(const char* path) {
    trace("Fg_ConfigFileParser::checkFileExist");
    // Something that is there but no file (a directory, a FIFO) exists; reading it finds no keys.
    qorv::FileKind kind = qorv::FileKind::None;
    if (FILE* f = qorv::openRegularFile(path, "r", &kind)) std::fclose(f);
    const bool exists = kind != qorv::FileKind::None;
    if (mFg_Log != nullptr) mFg_Log->Info(exists ? "Config File exist" : "Config File don't exist");
    return exists ? 1 : 0;
}

int Fg_ConfigFileParser::setSaveFile(const char* path) {
    trace("Fg_ConfigFileParser::setSaveFile");
    if (!checkFileType(path)) {
        if (mFg_Log != nullptr) mFg_Log->Error("Config File is Invalid");
        return 0;
    }
    if (mConfigFile != nullptr) std::fclose(mConfigFile);
    forgetPieces();
    mConfigFile = qorv::openRegularFile(path, "w");
    if (mConfigFile == nullptr) {
        if (mFg_Log != nullptr) mFg_Log->Error("Config File: fopen failed");
        return 0;
    }
    if (mFg_Log != nullptr) mFg_Log->Info("Config File is valid");
    return 1;
}

// ---- writers ----

void Fg_ConfigFileParser::writeLine(const char* key, const char* value) {
    if (mConfigFile == nullptr || key == nullptr) return;
    forgetPieces();
    std::fprintf(mConfigFile, "%s=%s;\n", key, value != nullptr ? value : "");
    std::fflush(mConfigFile);
}

void Fg_ConfigFileParser::writeConfigFileHeader() {
    trace("Fg_ConfigFileParser::writeConfigFileHeader");
    if (mConfigFile == nullptr) return;
    forgetPieces();
    std::fputs("[Kamerasektion]\n", mConfigFile);
    std::fputs("\nConfigFileVersion=2.0;\n", mConfigFile);
    std::fflush(mConfigFile);
}

void Fg_ConfigFileParser::writeConfigFileByPort(int port) {
    trace("Fg_ConfigFileParser::writeConfigFileByPort");
    if (mConfigFile == nullptr) return;
    forgetPieces();
    std::fprintf(mConfigFile, "\n%s\n", getPortString(port).c_str());
    std::fflush(mConfigFile);
}

void Fg_ConfigFileParser::writeConfigFile(const char* key, const char* text) {
    trace("Fg_ConfigFileParser::writeConfigFile");
    if (mConfigFile == nullptr || key == nullptr) return;
    forgetPieces();
    std::fprintf(mConfigFile, "%s='%s';\n", key, text != nullptr ? text : "");
    std::fflush(mConfigFile);
}

void Fg_ConfigFileParser::writeConfigFileValue(const char* key, const char* text) {
    trace("Fg_ConfigFileParser::writeConfigFileValue");
    writeLine(key, text);
}

void Fg_ConfigFileParser::writeConfigFileIntKey(const char* key, int value) {
    trace("Fg_ConfigFileParser::writeConfigFileIntKey");
    writeLine(key, std::to_string(value).c_str());
}

void Fg_ConfigFileParser::writeConfigFileUInt64Key(const char* key, uint64_t value) {
    trace("Fg_ConfigFileParser::writeConfigFileUInt64Key");
    writeLine(key, std::to_string(value).c_str());
}

void Fg_ConfigFileParser::writeConfigFileDoubleKey(const char* key, double value) {
    trace("Fg_ConfigFileParser::writeConfigFileDoubleKey");
    // The shortest form with twelve significant digits, as "%.12g" gives in the C locale.
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text - 1, value, std::chars_format::general, 12);
    *result.ptr = '\0';
    writeLine(key, text);
}

// ---- readers ----

void Fg_ConfigFileParser::forgetPieces() {
    mPieces.clear();
    mPiecesRead = false;
    mTooLargeToKeep = false;
}

bool Fg_ConfigFileParser::readPiece(std::string& piece) {
    piece.clear();
    for (int c = std::getc(mConfigFile); c != EOF; c = std::getc(mConfigFile)) {
        piece.push_back(static_cast<char>(c));
        if (c == '\n' || piece.size() == kLineLength) break;
    }
    if (piece.empty()) return false;
    piece.resize(std::strlen(piece.c_str()));  // a text search sees a line up to its first zero byte
    return true;
}

void Fg_ConfigFileParser::scan(const std::function<bool(const std::string&)>& visit) {
    if (mConfigFile == nullptr) return;
    std::string piece;
    if (!mPiecesRead) {
        mPiecesRead = true;
        std::rewind(mConfigFile);
        size_t bytes = 0;
        while (!mTooLargeToKeep && readPiece(piece)) {
            bytes += piece.size() + 1;
            mTooLargeToKeep = bytes > kCachedBytes;
            mPieces.push_back(piece);
        }
        if (mTooLargeToKeep) std::vector<std::string>().swap(mPieces);
    }
    if (!mTooLargeToKeep) {
        for (const std::string& p : mPieces)
            if (visit(p)) return;
        return;
    }
    std::rewind(mConfigFile);
    while (readPiece(piece))
        if (visit(piece)) return;
}

int Fg_ConfigFileParser::parseKeyFromLine(const char* key, std::string& out) {
    trace("Fg_ConfigFileParser::parseKeyFromLine");
    bool found = false;
    if (key != nullptr) {
        scan([&](const std::string& line) {
            if (line.find(key) == std::string::npos) return false;
            const std::vector<std::string> parts = tokens(line, "='");
            out = parts.size() > 1 ? parts[1] : std::string();
            return found = true;
        });
    }
    if (found) return 0;
    out = "Error";
    return FG_CONFIG_KEY_NOT_FOUND;
}

int Fg_ConfigFileParser::parseKey(const char* section, const char* key, std::string& out) {
    trace("Fg_ConfigFileParser::parseKey");
    out = "Error";
    if (section == nullptr || key == nullptr) return FG_CONFIG_KEY_NOT_FOUND;
    const size_t keyLength = std::strlen(key);
    bool inSection = false, found = false;
    scan([&](const std::string& line) {
        if (!inSection) {
            inSection = line.find(section) != std::string::npos;
            return false;
        }
        if (line.compare(0, keyLength, key) != 0 || line.size() <= keyLength || line[keyLength] != '=')
            return false;
        const std::vector<std::string> parts = tokens(line, "=;'");
        std::string value = parts.size() > 1 ? parts[1] : std::string();
        if (!value.empty() && (value[0] == '\r' || value[0] == '\n')) value.clear();
        out = value;
        return found = true;
    });
    return found ? 0 : FG_CONFIG_KEY_NOT_FOUND;
}

int Fg_ConfigFileParser::parseIntKey(const char* section, const char* key, int& value) {
    trace("Fg_ConfigFileParser::parseIntKey");
    std::string text;
    parseKey(section, key, text);
    if (text == "Error") return -1;
    trace("Fg_ConfigFileParser::getIntValue");
    value = static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
    return 0;
}

int Fg_ConfigFileParser::parseUInt64Key(const char* section, const char* key, uint64_t& value) {
    // Traced under the integer reader's names, as the files' readers always were.
    trace("Fg_ConfigFileParser::parseIntKey");
    std::string text;
    parseKey(section, key, text);
    if (text == "Error") return -1;
    trace("Fg_ConfigFileParser::getIntValue");
    value = std::strtoull(text.c_str(), nullptr, 10);
    return 0;
}

int Fg_ConfigFileParser::parseDoubleKey(const char* section, const char* key, double& value) {
    trace("Fg_ConfigFileParser::parseDoubleKey");
    std::string text;
    parseKey(section, key, text);
    if (text == "Error") return -1;
    value = toDouble(text);
    return 0;
}

int Fg_ConfigFileParser::parseIntKeyFromHeader(const char* key, int& value) {
    trace("Fg_ConfigFileParser::parseIntKeyFromHeader");
    return parseIntKey("[Kamerasektion]\n", key, value);
}

std::string Fg_ConfigFileParser::getPortString(int port) {
    return std::string("[Port ") + static_cast<char>('A' + port) + "]";
}

int Fg_ConfigFileParser::parseKeySection(int port, const char* key, std::string& out) {
    if (key == nullptr) return -1;
    return parseKey(getPortString(port).c_str(), key, out);
}

int Fg_ConfigFileParser::parseIntKeySection(int port, const char* key, int& value) {
    if (key == nullptr) return -1;
    return parseIntKey(getPortString(port).c_str(), key, value);
}

int Fg_ConfigFileParser::parseUInt64KeySection(int port, const char* key, uint64_t& value) {
    if (key == nullptr) return -1;
    return parseUInt64Key(getPortString(port).c_str(), key, value);
}

int Fg_ConfigFileParser::parseDoubleKeySection(int port, const char* key, double& value) {
    if (key == nullptr) return -1;
    return parseDoubleKey(getPortString(port).c_str(), key, value);
}
