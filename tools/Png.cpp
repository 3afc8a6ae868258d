#include "Png.h"

#include "Deflate.h"

#include <libdeflate.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace pellucid {
namespace {

constexpr unsigned char kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
constexpr int kColorRgb = 2;
// Keeps the chunks far below PNG's 2^31 limit and a reader's buffers small.
constexpr size_t kIdatBytes = size_t{1} << 20;

void putBig32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

class ChunkWriter {
  public:
    explicit ChunkWriter(std::FILE* file) : file_(file) {}
    bool put(const char type[4], const unsigned char* data, size_t size) {
        unsigned char head[8], tail[4];
        putBig32(head, static_cast<uint32_t>(size));
        std::memcpy(head + 4, type, 4);
        uint32_t crc = libdeflate_crc32(0, head + 4, 4);
        if (size > 0) crc = libdeflate_crc32(crc, data, size);
        putBig32(tail, static_cast<uint32_t>(crc));
        return std::fwrite(head, 1, 8, file_) == 8 &&
               (size == 0 || std::fwrite(data, 1, size, file_) == size) &&
               std::fwrite(tail, 1, 4, file_) == 4;
    }

  private:
    std::FILE* file_;
};

constexpr unsigned char kFilterSub = 1;
using Bytes = unsigned char __attribute__((vector_size(16)));

// A stored row with the sub filter: each byte less the same byte of the pixel before. One fixed
// filter halves a camera picture at a fraction of what an adaptive choice costs, and turns flat
// areas into the runs the encoder finds at once. 16 bytes a step, in SIMD registers.
void subFilter(const unsigned char* row, size_t bytes, size_t bpp, unsigned char* out) {
    size_t i = std::min(bpp, bytes);
    std::memcpy(out, row, i);
    for (; i + sizeof(Bytes) <= bytes; i += sizeof(Bytes)) {
        Bytes x, left;
        std::memcpy(&x, row + i, sizeof x);
        std::memcpy(&left, row + i - bpp, sizeof left);
        x -= left;
        std::memcpy(out + i, &x, sizeof x);
    }
    for (; i < bytes; ++i) out[i] = static_cast<unsigned char>(row[i] - row[i - bpp]);
}

// A row's samples as PNG stores them: 16-bit ones big-endian, low-aligned ones scaled up.
const unsigned char* storedRow(const unsigned char* pixels, size_t samples, int bitDepth, SampleBits bits,
                               unsigned char* raw) {
    if (bitDepth == 8) return pixels;
    const bool scale = bits.significant < 16 && bits.lowAligned;
    for (size_t i = 0; i < samples; ++i) {
        uint16_t v = static_cast<uint16_t>(pixels[2 * i] | pixels[2 * i + 1] << 8);
        if (scale) v = scaleUp(v, bits.significant);
        raw[2 * i] = static_cast<unsigned char>(v >> 8);
        raw[2 * i + 1] = static_cast<unsigned char>(v);
    }
    return raw;
}

std::string encode(std::FILE* file, uint32_t width, uint32_t height, int bitDepth,
                   const unsigned char* pixels, SampleBits bits) {
    const size_t rowBytes = size_t{width} * 3 * static_cast<size_t>(bitDepth / 8);
    ChunkWriter out(file);
    unsigned char header[13];
    putBig32(header, width);
    putBig32(header + 4, height);
    header[8] = static_cast<unsigned char>(bitDepth);
    header[9] = kColorRgb;
    header[10] = header[11] = header[12] = 0;  // deflate, adaptive filtering, no interlace
    if (std::fwrite(kSignature, 1, 8, file) != 8 || !out.put("IHDR", header, sizeof header))
        return std::strerror(errno);
    if (bitDepth == 16 && bits.significant < 16) {
        const unsigned char sbit[3] = {static_cast<unsigned char>(bits.significant),
                                       static_cast<unsigned char>(bits.significant),
                                       static_cast<unsigned char>(bits.significant)};
        if (!out.put("sBIT", sbit, 3)) return std::strerror(errno);
    }

    const size_t filteredBytes = (rowBytes + 1) * height;
    const size_t bpp = static_cast<size_t>(3 * bitDepth / 8);
    // Kept by each writing thread: fresh pages for every picture cost as much as the compression.
    thread_local std::vector<unsigned char> raw, filtered, deflated;
    raw.resize(rowBytes);
    filtered.resize(filteredBytes);
    for (uint32_t y = 0; y < height; ++y) {
        unsigned char* out = filtered.data() + y * (rowBytes + 1);
        out[0] = kFilterSub;
        subFilter(storedRow(pixels + y * rowBytes, size_t{width} * 3, bitDepth, bits, raw.data()), rowBytes,
                  bpp, out + 1);
    }
    deflated.resize(imageDeflateBound(filteredBytes));
    const size_t size = imageDeflate(filtered.data(), filteredBytes, rowBytes + 1, bpp, deflated.data());
    for (size_t at = 0; at < size; at += kIdatBytes)
        if (!out.put("IDAT", deflated.data() + at, std::min(kIdatBytes, size - at)))
            return std::strerror(errno);
    if (!out.put("IEND", nullptr, 0)) return std::strerror(errno);
    return {};
}

}  // namespace

uint16_t scaleUp(uint16_t v, int significant) {
    uint32_t out = 0;
    for (int shift = 16 - significant; shift > -significant; shift -= significant)
        out |= shift > 0 ? uint32_t{v} << shift : uint32_t{v} >> -shift;
    return static_cast<uint16_t>(out);
}

std::string writeRgbPng(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                        const unsigned char* pixels, SampleBits bits) {
    if (pixels == nullptr || width == 0 || height == 0 || (bitDepth != 8 && bitDepth != 16))
        return "no image to write";
    if (bits.significant < 1 || bits.significant > 16) return "significant bits must be 1..16";
    if (width > 0x7fffffffu / 6 || height > 0x7fffffffu) return "the image is too large for a PNG file";
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
    if (file == nullptr) return std::strerror(errno);
    std::string why = encode(file.get(), width, height, bitDepth, pixels, bits);
    if (!why.empty()) return why;
    if (std::fclose(file.release()) != 0) return std::strerror(errno);
    return {};
}

}  // namespace pellucid
