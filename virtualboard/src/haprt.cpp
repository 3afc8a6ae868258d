// libhaprt.so: loads designs and answers queries about their registers and events.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "FileOpen.h"
#include "design_reader.h"

namespace {

// Why the last load of this thread failed.
thread_local std::string lastError;

constexpr long kMaxFileSize = 64L << 20;  // far above any design; guards against reading junk

fpga_design* load(std::string_view data) {
    auto design = vboard::readDesign(data, &lastError);
    return design.release();
}

// Reads a whole file; false with lastError set.
bool readFile(const char* fileName, std::string* out) {
    qorv::FileKind kind = qorv::FileKind::None;
    FILE* f = qorv::openRegularFile(fileName, "r", &kind);
    if (f == nullptr) {
        lastError = std::string("cannot open '") + fileName +
                    "': " + (kind == qorv::FileKind::None ? std::strerror(errno) : "not a regular file");
        return false;
    }
    bool ok = true;
    char buffer[65536];
    size_t n = 0;
    while (ok && (n = std::fread(buffer, 1, sizeof buffer, f)) > 0) {
        out->append(buffer, n);
        if (static_cast<long>(out->size()) > kMaxFileSize) {
            lastError = std::string("'") + fileName + "' is too large for a design file";
            ok = false;
        }
    }
    if (ok && std::ferror(f)) {
        lastError = std::string("cannot read '") + fileName + "'";
        ok = false;
    }
    std::fclose(f);
    return ok;
}

const vboard::Design* designOf(fpga_design* d) {
    return vboard::designOf(d);
}

}  // namespace

extern "C" {

const char* HapGetLastErrorText(void) {
    return lastError.c_str();
}

fpga_design* HapLoadDesignFromBuffer(const void* data, uint64_t size, int /*flags*/) {
    if (data == nullptr) {
        lastError = "no design data";
        return nullptr;
    }
    if (size == 0) {
        lastError = "line 1: empty design";
        return nullptr;
    }
    return load(std::string_view(static_cast<const char*>(data), size));
}

fpga_design* HapLoadHapFileWithType(const char* fileName, int typeCode, int /*flags*/) {
    if (fileName == nullptr || *fileName == '\0') {
        lastError = "no file name";
        return nullptr;
    }
    std::string text;
    try {
        if (!readFile(fileName, &text)) return nullptr;
    } catch (const std::bad_alloc&) {
        lastError = "out of memory";
        return nullptr;
    }
    fpga_design* design = load(text);
    if (design != nullptr && design->design.typeCode() != typeCode) {
        lastError = std::string("'") + fileName + "' has type code " +
                    std::to_string(design->design.typeCode()) + ", not " + std::to_string(typeCode);
        delete design;
        return nullptr;
    }
    return design;
}

int HapUnloadHapFile(fpga_design* design) {
    if (designOf(design) == nullptr) return FG_INVALID_PARAMETER;
    design->magic = 0;
    delete design;
    return 0;
}

int HapGetNrOfRegister(fpga_design* design) {
    const vboard::Design* d = designOf(design);
    return d != nullptr ? static_cast<int>(d->registers().size()) : -1;
}

const char* HapGetRegisterName(fpga_design* design, int number) {
    const vboard::Design* d = designOf(design);
    if (d == nullptr || number < 1 || number > static_cast<int>(d->registers().size())) return nullptr;
    return d->registers()[number - 1].name.c_str();
}

int HapGetRegisterByName(fpga_design* design, const char* name) {
    const vboard::Design* d = designOf(design);
    return d != nullptr && name != nullptr ? d->findRegister(name) : -1;
}

int HapGetRegisterBitRange(fpga_design* design, int number) {
    const vboard::Design* d = designOf(design);
    if (d == nullptr || number < 1 || number > static_cast<int>(d->registers().size())) return -1;
    return d->registers()[number - 1].width;
}

int HapGetRegisterDirection(fpga_design* design, int number) {
    const vboard::Design* d = designOf(design);
    if (d == nullptr || number < 1 || number > static_cast<int>(d->registers().size())) return -1;
    return static_cast<int>(d->registers()[number - 1].access);
}

const HapEvent* HapGetEvent(fpga_design* design, int index) {
    const vboard::Design* d = designOf(design);
    if (d == nullptr || index < 0 || index >= static_cast<int>(d->events().size())) return nullptr;
    return &d->events()[index];
}

}  // extern "C"
