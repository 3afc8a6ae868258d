#include "Fg_LutFileParser.h"

#include "FileOpen.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kLutHeader = "# Lut data file v1.1";
constexpr const char* kKneeHeader3 = "# KneeLut data file v1.1";
constexpr const char* kKneeHeader1 = "# KneeLut data file v1.0";
constexpr const char* kKeySeparators = "='";
constexpr size_t kLineBuffer = Fg_LutFileParser::kMaxLineLength + 1;

bool usable(const LookupTable_s* t) {
    return t != nullptr && (t->lut != nullptr || t->nrOfElements == 0);
}
bool usable(const KneeLookupTable_s* t) {
    return t != nullptr && (t->value != nullptr || t->nrOfElements == 0);
}

}  // namespace

Fg_LutFileParser::~Fg_LutFileParser() {
    closeFile();
}

void Fg_LutFileParser::closeFile() {
    if (mConfigFile == nullptr) return;
    std::fflush(mConfigFile);
    std::fclose(mConfigFile);
    mConfigFile = nullptr;
}

bool Fg_LutFileParser::setSaveFile(const char* path) {
    closeFile();
    if (path == nullptr) return false;
    mConfigFile = qorv::openRegularFile(path, "w");
    return mConfigFile != nullptr;
}

bool Fg_LutFileParser::setOpenFile(const char* path, bool readOnly) {
    closeFile();
    if (path == nullptr) return false;
    mConfigFile = qorv::openRegularFile(path, readOnly ? "r" : "r+");
    return mConfigFile != nullptr;
}

bool Fg_LutFileParser::checkFileType(const char*) {
    return true;
}

// A directory is not there for us; a FIFO or device is, but cannot be read as a file.
bool Fg_LutFileParser::checkFileExist(const char* path) {
    qorv::FileKind kind = qorv::FileKind::None;
    if (FILE* f = qorv::openRegularFile(path, "r", &kind)) std::fclose(f);
    return kind == qorv::FileKind::Regular || kind == qorv::FileKind::Other;
}

// ---- writing ----

void Fg_LutFileParser::writeLutFileHeader(const char* text) {
    if (mConfigFile == nullptr || text == nullptr) return;
    std::fputs(text, mConfigFile);
    std::fflush(mConfigFile);
}

void Fg_LutFileParser::writeLutFileValue(const char* key, const char* value, const char* separator) {
    if (mConfigFile == nullptr || key == nullptr || value == nullptr || separator == nullptr) return;
    std::fprintf(mConfigFile, "%s%s%s;\n", key, separator, value);
    std::fflush(mConfigFile);
}

void Fg_LutFileParser::writeIntKey(const char* key, int value) {
    if (mConfigFile == nullptr || key == nullptr) return;
    putIntKey(key, value);
    std::fflush(mConfigFile);
}

void Fg_LutFileParser::writeDoubleKey(const char* key, double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*g", 12, value);
    writeLutFileValue(key, text, "=");
}

void Fg_LutFileParser::writeIntInt(int index, int value) {
    if (mConfigFile == nullptr) return;
    putIntInt(index, value);
    std::fflush(mConfigFile);
}

void Fg_LutFileParser::writeIntDouble(int index, double value) {
    if (mConfigFile == nullptr) return;
    putIntDouble(index, value);
    std::fflush(mConfigFile);
}

// Whole tables are written without a flush per line: one flush at the end gives the same file.
void Fg_LutFileParser::putIntKey(const char* key, int value) {
    std::fprintf(mConfigFile, "%s=%d;\n", key, value);
}
void Fg_LutFileParser::putIntInt(int index, int value) {
    std::fprintf(mConfigFile, "%d,%d;\n", index, value);
}
void Fg_LutFileParser::putIntDouble(int index, double value) {
    std::fprintf(mConfigFile, "%d,%0.12lf;\n", index, value);
}

int Fg_LutFileParser::writeIntSection(const char* name, const LookupTable_s& t) {
    std::fputs(name, mConfigFile);
    std::fputs("\n\n", mConfigFile);
    putIntKey("id", static_cast<int>(t.id));
    putIntKey("nrOfElements", static_cast<int>(t.nrOfElements));
    putIntKey("format", static_cast<int>(t.format));
    putIntKey("number", t.number);
    for (uint32_t i = 0; i < t.nrOfElements; ++i) putIntInt(static_cast<int>(i), static_cast<int>(t.lut[i]));
    return 0;
}

int Fg_LutFileParser::finishWrite() {
    const bool failed = std::ferror(mConfigFile) != 0;
    const bool closed = std::fclose(mConfigFile) == 0;
    mConfigFile = nullptr;
    return failed || !closed ? -1 : 0;
}

int Fg_LutFileParser::saveLutToFile(const char* path, const LookupTable_s* table) {
    if (!usable(table) || !setSaveFile(path)) return -1;
    std::fputs(kLutHeader, mConfigFile);
    std::fputs("\n\n\n\n", mConfigFile);
    writeIntSection("[gray]", *table);
    return finishWrite();
}

int Fg_LutFileParser::saveLutToFile(const char* path, const LookupTable_s* red, const LookupTable_s* green,
                                    const LookupTable_s* blue) {
    if (!usable(red) || !usable(green) || !usable(blue) || !setSaveFile(path)) return -1;
    std::fputs(kLutHeader, mConfigFile);
    std::fputs("\n\n", mConfigFile);
    writeIntSection("[red]", *red);
    std::fputs("\n\n", mConfigFile);
    writeIntSection("[green]", *green);
    std::fputs("\n\n", mConfigFile);
    writeIntSection("[blue]", *blue);
    return finishWrite();
}

int Fg_LutFileParser::saveLutToFile(const char* path, const KneeLookupTable_s* table,
                                    const char* sectionHeader) {
    if (!usable(table) || sectionHeader == nullptr || !setSaveFile(path)) return -1;
    std::fputs(kKneeHeader1, mConfigFile);
    std::fputs("\n\n", mConfigFile);
    std::fputs(sectionHeader, mConfigFile);
    std::fputs("\n\n", mConfigFile);
    for (uint32_t i = 0; i < table->nrOfElements; ++i) putIntDouble(static_cast<int>(i), table->value[i]);
    return finishWrite();
}

int Fg_LutFileParser::saveLutToFile(const char* path, const KneeLookupTable_s* red,
                                    const KneeLookupTable_s* green, const KneeLookupTable_s* blue) {
    if (!usable(red) || !usable(green) || !usable(blue) || !setSaveFile(path)) return -1;
    std::fputs(kKneeHeader3, mConfigFile);
    const struct {
        const char* name;
        const KneeLookupTable_s* t;
    } sections[] = {{"[red]", red}, {"[green]", green}, {"[blue]", blue}};
    for (const auto& s : sections) {
        std::fputs("\n\n", mConfigFile);
        std::fputs(s.name, mConfigFile);
        std::fputs("\n\n", mConfigFile);
        for (uint32_t i = 0; i < s.t->nrOfElements; ++i) putIntDouble(static_cast<int>(i), s.t->value[i]);
    }
    return finishWrite();
}

int Fg_LutFileParser::saveMatrixToFile(const char* path, const char* header, const int* values, int count) {
    if (header == nullptr || (values == nullptr && count > 0) || !setSaveFile(path)) return -1;
    std::fputs(header, mConfigFile);
    putIntKey("nrOfElements", count);
    for (int i = 0; i < count; ++i) putIntInt(i, values[i]);
    return finishWrite();
}

int Fg_LutFileParser::getMatrixFromFile(const char*, int*, int) {
    return -1;
}

// ---- reading ----

bool Fg_LutFileParser::readLine(char* buffer) {
    return std::fgets(buffer, static_cast<int>(kLineBuffer), mConfigFile) != nullptr;
}

long long Fg_LutFileParser::getIntValue(const char* text) {
    return text != nullptr ? std::strtoll(text, nullptr, 10) : 0;
}

double Fg_LutFileParser::getDoubleValue(const char* text) {
    return text != nullptr ? std::strtod(text, nullptr) : 0.0;
}

int Fg_LutFileParser::parseKeyFromLine(const char* key, const char* separators, char* valueText,
                                       size_t size) {
    auto answer = [&](const char* text, size_t length) {
        if (valueText == nullptr || size == 0) return;
        if (length >= size) length = size - 1;
        std::memcpy(valueText, text, length);
        valueText[length] = '\0';
    };
    if (mConfigFile == nullptr || key == nullptr || separators == nullptr) {
        answer("Error", 5);
        return -1;
    }
    std::rewind(mConfigFile);
    char line[kLineBuffer];
    while (readLine(line)) {
        if (std::strstr(line, key) == nullptr) continue;
        // The second token between separators is the value.
        const char* p = line + std::strspn(line, separators);
        p += std::strcspn(p, separators);
        p += std::strspn(p, separators);
        const size_t length = std::strcspn(p, separators);
        if (length == 0) {
            answer("Error", 5);
        } else {
            answer(p, length);
        }
        return 0;
    }
    answer("Error", 5);
    return -1;
}

int Fg_LutFileParser::parseIntKey(const char* key, long long* value) {
    char text[kLineBuffer];
    const int rc = parseKeyFromLine(key, kKeySeparators, text, sizeof text);
    if (value != nullptr) *value = getIntValue(text);
    return rc;
}

int Fg_LutFileParser::parseDoubleKey(const char* key, double* value) {
    char text[kLineBuffer];
    const int rc = parseKeyFromLine(key, kKeySeparators, text, sizeof text);
    if (value != nullptr) *value = getDoubleValue(text);
    return rc;
}

namespace {

// The text "<index>," as the entry of `index` starts.
const char* entryAt(const char* line, uint32_t index) {
    char needle[16];
    std::snprintf(needle, sizeof needle, "%u,", index);
    if (std::strstr(line, needle) == nullptr) return nullptr;
    return std::strchr(line, ',') + 1;
}

}  // namespace

bool Fg_LutFileParser::parseIntInt(const char* line, uint32_t index, long long* value) {
    if (line == nullptr) return false;
    const char* text = entryAt(line, index);
    if (text == nullptr) return false;
    if (value != nullptr) *value = getIntValue(text);
    return true;
}

bool Fg_LutFileParser::parseIntDouble(const char* line, uint32_t index, double* value) {
    if (line == nullptr) return false;
    const char* text = entryAt(line, index);
    if (text == nullptr) return false;
    if (value != nullptr) *value = getDoubleValue(text);
    return true;
}

bool Fg_LutFileParser::seekSection(const char* section) {
    std::rewind(mConfigFile);
    char line[kLineBuffer];
    while (readLine(line)) {
        if (std::strstr(line, section) != nullptr) return true;
    }
    return false;
}

int Fg_LutFileParser::readIntEntries(const char* section, LookupTable_s* table) {
    if (!seekSection(section)) return 0;
    char line[kLineBuffer];
    uint32_t i = 0;
    long long v = 0;
    while (i < table->nrOfElements && readLine(line)) {
        // An entry that no 32-bit value holds must not wrap into one that looks valid.
        if (parseIntInt(line, i, &v))
            table->lut[i++] = v >= 0 && v <= UINT32_MAX ? static_cast<uint32_t>(v) : UINT32_MAX;
    }
    return 0;
}

int Fg_LutFileParser::readKneeEntries(const char* section, KneeLookupTable_s* table) {
    if (!seekSection(section)) return 0;
    char line[kLineBuffer];
    uint32_t i = 0;
    double v = 0;
    while (i < table->nrOfElements && readLine(line)) {
        if (parseIntDouble(line, i, &v)) table->value[i++] = v;
    }
    return 0;
}

int Fg_LutFileParser::getLutFromFile(const char* path, LookupTable_s* table, const char* section) {
    if (table == nullptr || section == nullptr) return -1;
    std::free(table->lut);
    table->lut = nullptr;
    if (!setOpenFile(path, true)) return -1;

    // Keys are looked up from the top of the file, so every section gets those of the first.
    long long id = 0, count = 0, format = 0, number = 0;
    parseIntKey("id", &id);
    parseIntKey("nrOfElements", &count);
    table->id = static_cast<uint32_t>(id);
    if (count < 0 || count > kMaxElements) {
        table->nrOfElements = 0;
        closeFile();
        return -1;
    }
    table->nrOfElements = static_cast<uint32_t>(count);
    if (count > 0) {
        table->lut = static_cast<uint32_t*>(std::calloc(static_cast<size_t>(count), sizeof(uint32_t)));
        if (table->lut == nullptr) {
            table->nrOfElements = 0;
            closeFile();
            return -1;
        }
    }
    parseIntKey("format", &format);
    parseIntKey("number", &number);
    table->format = static_cast<uint32_t>(format);
    table->number = static_cast<uint8_t>(number);

    const int rc = readIntEntries(section, table);
    closeFile();
    return rc;
}

int Fg_LutFileParser::getLutFromFile(const char* path, LookupTable_s* red, LookupTable_s* green,
                                     LookupTable_s* blue) {
    if (const int rc = getLutFromFile(path, red, "[red]"); rc != 0) return rc;
    if (const int rc = getLutFromFile(path, green, "[green]"); rc != 0) return rc;
    return getLutFromFile(path, blue, "[blue]");
}

int Fg_LutFileParser::getLutFromFile(const char* path, KneeLookupTable_s* table, const char* section) {
    if (table == nullptr || section == nullptr) return -1;
    std::free(table->value);
    table->value = nullptr;
    if (table->nrOfElements > kMaxElements || !setOpenFile(path, true)) return -1;
    if (table->nrOfElements > 0) {
        table->value = static_cast<double*>(std::calloc(table->nrOfElements, sizeof(double)));
        if (table->value == nullptr) {
            closeFile();
            return -1;
        }
    }
    const int rc = readKneeEntries(section, table);
    closeFile();
    return rc;
}

int Fg_LutFileParser::getLutFromFile(const char* path, KneeLookupTable_s* red, KneeLookupTable_s* green,
                                     KneeLookupTable_s* blue) {
    if (const int rc = getLutFromFile(path, red, "[red]"); rc != 0) return rc;
    if (const int rc = getLutFromFile(path, green, "[green]"); rc != 0) return rc;
    return getLutFromFile(path, blue, "[blue]");
}
