// Diagnostic lines to an optional, already open stream. The library itself never opens one, so
// everything here is silent unless a stream was attached.
#pragma once

#include <cstdio>
#include <string>

class Fg_Log {
  public:
    explicit Fg_Log(const char* fileName = nullptr);
    ~Fg_Log();
    Fg_Log(const Fg_Log&) = delete;
    Fg_Log& operator=(const Fg_Log&) = delete;

    // Takes ownership: CloseLogFile() and the destructor close it. A stream attached before is closed.
    void attachStream(FILE* stream);

    // Deliberately empty: no log file is ever opened and these write nothing.
    void OpenLogFile(const char* fileName);
    void Func(const char* text);
    void Info(const char* text);

    void Error(const char* text);
    void Info(const char* text, int value);
    void ErrorInt(const char* where, const char* text, int value);
    void ErrorDouble(const char* where, const char* text, double value);
    void UsrDbg(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void WriteWelcome();
    // Local time in asctime form, ending in a line feed.
    std::string GetTimestamp() const;
    void CloseLogFile();

  private:
    FILE* mHandleToFile = nullptr;
    int mLogLevel = 0;
};
