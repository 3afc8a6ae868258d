// Lookup tables as text files: integer tables ("# Lut data file") and knee tables ("# KneeLut data
// file"), one section per colour, plus a plain matrix writer. Every public operation opens and
// closes its file within the call.
#pragma once

#include <cstdint>
#include <cstdio>

typedef struct LookupTable_s {
    uint32_t* lut;  // nrOfElements entries, malloc'ed; the reader frees the old array first
    uint32_t id;
    uint32_t nrOfElements;
    uint32_t format;
    uint8_t number;
} LookupTable;

typedef struct KneeLookupTable_s {
    double* value;  // nrOfElements values, malloc'ed; the reader frees the old array first
    double* reserved;
    uint32_t id;
    uint32_t nrOfElements;  // set by the caller before reading
    uint32_t format;
    uint8_t number;
} KneeLookupTable;

class Fg_LutFileParser {
  public:
    // Files claiming more entries than this are refused rather than allocated.
    static constexpr uint32_t kMaxElements = 16777216;
    static constexpr int kMaxLineLength = 255;

    Fg_LutFileParser() = default;
    ~Fg_LutFileParser();
    Fg_LutFileParser(const Fg_LutFileParser&) = delete;
    Fg_LutFileParser& operator=(const Fg_LutFileParser&) = delete;

    // Writers: 0, or -1 when the file cannot be opened for writing (or a table is unusable).
    int saveLutToFile(const char* path, const LookupTable_s* table);
    int saveLutToFile(const char* path, const LookupTable_s* red, const LookupTable_s* green,
                      const LookupTable_s* blue);
    int saveLutToFile(const char* path, const KneeLookupTable_s* table, const char* sectionHeader);
    int saveLutToFile(const char* path, const KneeLookupTable_s* red, const KneeLookupTable_s* green,
                      const KneeLookupTable_s* blue);
    int saveMatrixToFile(const char* path, const char* header, const int* values, int count);

    // Readers: 0, or -1 when the file cannot be opened, an argument is null or the file claims
    // more than kMaxElements entries. Missing keys and entries read as 0.
    int getLutFromFile(const char* path, LookupTable_s* table, const char* section);
    int getLutFromFile(const char* path, LookupTable_s* red, LookupTable_s* green, LookupTable_s* blue);
    int getLutFromFile(const char* path, KneeLookupTable_s* table, const char* section);
    int getLutFromFile(const char* path, KneeLookupTable_s* red, KneeLookupTable_s* green,
                       KneeLookupTable_s* blue);
    // Matrices are write-only: always -1.
    int getMatrixFromFile(const char* path, int* values, int count);

    // Opening; a stream still open from before is closed first.
    bool setSaveFile(const char* path);
    bool setOpenFile(const char* path, bool readOnly);
    bool checkFileType(const char* path);
    bool checkFileExist(const char* path);
    void closeFile();

    // One line each on the open stream, flushed.
    void writeLutFileHeader(const char* text);
    void writeLutFileValue(const char* key, const char* value, const char* separator);
    void writeIntKey(const char* key, int value);
    void writeDoubleKey(const char* key, double value);
    void writeIntInt(int index, int value);
    void writeIntDouble(int index, double value);

    // Key lookup from the top of the open file: 0 found, -1 not found ("Error" as value text).
    int parseKeyFromLine(const char* key, const char* separators, char* valueText, size_t size);
    int parseIntKey(const char* key, long long* value);
    int parseDoubleKey(const char* key, double* value);
    // "index,value;" lines: true when `line` holds the entry of `index`; the value follows the
    // first ",".
    static bool parseIntInt(const char* line, uint32_t index, long long* value);
    static bool parseIntDouble(const char* line, uint32_t index, double* value);
    static long long getIntValue(const char* text);
    static double getDoubleValue(const char* text);

  private:
    // The same lines as the public writers, without a flush each.
    void putIntKey(const char* key, int value);
    void putIntInt(int index, int value);
    void putIntDouble(int index, double value);
    int writeIntSection(const char* name, const LookupTable_s& t);
    bool readLine(char* buffer);
    // Skips lines up to and including the one naming `section`; false at the end of the file.
    bool seekSection(const char* section);
    int readIntEntries(const char* section, LookupTable_s* table);
    int readKneeEntries(const char* section, KneeLookupTable_s* table);
    int finishWrite();

    FILE* mConfigFile = nullptr;
};
