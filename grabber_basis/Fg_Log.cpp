#include "Fg_Log.h"

#include <charconv>
#include <cstdarg>
#include <ctime>

namespace {

const char* orNull(const char* text) {
    return text != nullptr ? text : "(null)";
}

const char kRule[] = "-------------------------------------------------------------------------\n";
static_assert(sizeof(kRule) == 73 + 2, "rule is 73 dashes and a line feed");

}  // namespace

Fg_Log::Fg_Log(const char* fileName) {
    if (fileName != nullptr) OpenLogFile(fileName);
}

Fg_Log::~Fg_Log() {
    CloseLogFile();
}

void Fg_Log::attachStream(FILE* stream) {
    CloseLogFile();
    mHandleToFile = stream;
}

void Fg_Log::OpenLogFile(const char*) {}
void Fg_Log::Func(const char*) {}
void Fg_Log::Info(const char*) {}

void Fg_Log::Error(const char* text) {
    if (mHandleToFile == nullptr) return;
    fprintf(mHandleToFile, "korvex::Error >> %s;\n", orNull(text));
    fflush(mHandleToFile);
}

void Fg_Log::Info(const char* text, int value) {
    if (mHandleToFile == nullptr) return;
    fprintf(mHandleToFile, "korvex::Info >> %s >> %d;\n", orNull(text), value);
    fflush(mHandleToFile);
}

void Fg_Log::ErrorInt(const char* where, const char* text, int value) {
    if (mHandleToFile == nullptr) return;
    fprintf(mHandleToFile, "korvex::Error >> %s >> %s >> %d;\n", orNull(where), orNull(text), value);
    fflush(mHandleToFile);
}

void Fg_Log::ErrorDouble(const char* where, const char* text, double value) {
    if (mHandleToFile == nullptr) return;
    // Same text as "%.12g", but always with a decimal point whatever the process locale.
    char number[32];
    const auto res = std::to_chars(number, number + sizeof number - 1, value, std::chars_format::general, 12);
    *res.ptr = '\0';
    fprintf(mHandleToFile, "korvex::Error >> %s >> %s >> %s;\n", orNull(where), orNull(text), number);
    fflush(mHandleToFile);
}

void Fg_Log::UsrDbg(const char* format, ...) {
    if (mHandleToFile == nullptr || format == nullptr) return;
    va_list args;
    va_start(args, format);
    vfprintf(mHandleToFile, format, args);
    va_end(args);
}

void Fg_Log::WriteWelcome() {
    if (mHandleToFile == nullptr) return;
    fputs(kRule, mHandleToFile);
    fputs("Copyright Varnholt GmbH\n", mHandleToFile);
    fputs("Contents: Log details for korvex Dll\n", mHandleToFile);
    fputs(GetTimestamp().c_str(), mHandleToFile);
    fputs(kRule, mHandleToFile);
    fflush(mHandleToFile);
}

std::string Fg_Log::GetTimestamp() const {
    const time_t now = time(nullptr);
    struct tm local;
    char text[64];
    // asctime_r: fixed English names and no shared buffer.
    if (localtime_r(&now, &local) == nullptr || asctime_r(&local, text) == nullptr) return "\n";
    return text;
}

void Fg_Log::CloseLogFile() {
    if (mHandleToFile == nullptr) return;
    fflush(mHandleToFile);
    fclose(mHandleToFile);
    mHandleToFile = nullptr;
}
