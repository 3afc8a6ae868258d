#include "ImageFile.h"

#include <tiffio.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

namespace pellucid {
namespace {

// Rows a TIFF strip holds: large writes at the disk's pace, strips a reader can take whole.
constexpr size_t kStripBytes = size_t{1} << 20;

std::string invalid(uint32_t width, uint32_t height, int bitDepth, const unsigned char* pixels,
                    SampleBits bits) {
    if (pixels == nullptr || width == 0 || height == 0 || (bitDepth != 8 && bitDepth != 16))
        return "no image to write";
    if (bits.significant < 1 || bits.significant > 16) return "significant bits must be 1..16";
    return {};
}

bool scaled(int bitDepth, SampleBits bits) {
    return bitDepth == 16 && bits.significant < 16 && bits.lowAligned;
}

// Rows `first`.. of the picture as the file stores them: as they are, or scaled up into `buffer`.
const unsigned char* rowsFor(const unsigned char* pixels, size_t rowBytes, uint32_t first, uint32_t rows,
                             int bitDepth, SampleBits bits, std::vector<unsigned char>& buffer) {
    const unsigned char* from = pixels + first * rowBytes;
    if (!scaled(bitDepth, bits)) return from;
    buffer.resize(rows * rowBytes);
    for (size_t i = 0; i < buffer.size(); i += 2) {
        const uint16_t v = scaleUp(static_cast<uint16_t>(from[i] | from[i + 1] << 8), bits.significant);
        buffer[i] = static_cast<unsigned char>(v);
        buffer[i + 1] = static_cast<unsigned char>(v >> 8);
    }
    return buffer.data();
}

// libtiff reports through process-wide handlers; each writing thread keeps its own last message.
thread_local std::string tiffError;

void keepTiffError(const char* module, const char* format, va_list args) {
    char text[256];
    std::vsnprintf(text, sizeof text, format, args);
    tiffError = module != nullptr ? std::string(module) + ": " + text : text;
}

void quietTiffWarning(const char*, const char*, va_list) {}

struct TiffCloser {
    void operator()(TIFF* t) const { TIFFClose(t); }
};
struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

std::optional<ImageFormat> parseImageFormat(const std::string& name) {
    for (ImageFormat f : kImageFormats)
        if (name == extension(f)) return f;
    return std::nullopt;
}

const char* extension(ImageFormat format) {
    switch (format) {
        case ImageFormat::tiff:
            return "tiff";
        case ImageFormat::npy:
            return "npy";
        case ImageFormat::png:
            break;
    }
    return "png";
}

std::string writeRgbTiff(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                         const unsigned char* pixels, SampleBits bits) {
    if (std::string why = invalid(width, height, bitDepth, pixels, bits); !why.empty()) return why;
    static std::once_flag handlers;
    std::call_once(handlers, [] {
        TIFFSetErrorHandler(keepTiffError);
        TIFFSetWarningHandler(quietTiffWarning);
    });
    tiffError.clear();
    const auto failed = [] {
        return tiffError.empty() ? std::string("cannot write the TIFF file") : tiffError;
    };
    std::unique_ptr<TIFF, TiffCloser> tiff(TIFFOpen(path.c_str(), "w"));
    if (tiff == nullptr) return failed();
    const size_t rowBytes = size_t{width} * 3 * static_cast<size_t>(bitDepth / 8);
    const uint32_t stripRows = static_cast<uint32_t>(std::max<size_t>(1, kStripBytes / rowBytes));
    TIFF* t = tiff.get();
    if (TIFFSetField(t, TIFFTAG_IMAGEWIDTH, width) == 0 ||
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, height) == 0 ||
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, bitDepth) == 0 ||
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 3) == 0 ||
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) == 0 ||
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == 0 ||
        TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE) == 0 ||
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, stripRows) == 0)
        return failed();
    std::vector<unsigned char> buffer;
    for (uint32_t first = 0, strip = 0; first < height; first += stripRows, ++strip) {
        const uint32_t rows = std::min(stripRows, height - first);
        const unsigned char* data = rowsFor(pixels, rowBytes, first, rows, bitDepth, bits, buffer);
        // Uncompressed in the machine's byte order, libtiff writes the strip without changing it.
        if (TIFFWriteEncodedStrip(t, strip, const_cast<unsigned char*>(data),
                                  static_cast<tmsize_t>(rows * rowBytes)) < 0)
            return failed();
    }
    if (TIFFFlush(t) == 0) return failed();
    TIFFClose(tiff.release());
    return tiffError.empty() ? std::string() : tiffError;
}

std::string writeRgbNpy(const std::string& path, uint32_t width, uint32_t height, int bitDepth,
                        const unsigned char* pixels, SampleBits bits) {
    if (std::string why = invalid(width, height, bitDepth, pixels, bits); !why.empty()) return why;
    // Format 1.0: magic, version, a little-endian header length, then a Python dict literal padded
    // with spaces so that the data starts on a multiple of 64 bytes.
    std::string header = std::string("{'descr': '") + (bitDepth == 16 ? "<u2" : "|u1") +
                         "', 'fortran_order': False, 'shape': (" + std::to_string(height) + ", " +
                         std::to_string(width) + ", 3), }";
    const size_t unpadded = 10 + header.size() + 1;
    header.append((64 - unpadded % 64) % 64, ' ');
    header += '\n';
    std::string preamble("\x93NUMPY\x01\x00", 8);
    preamble += static_cast<char>(header.size() & 0xff);
    preamble += static_cast<char>(header.size() >> 8);
    preamble += header;
    std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "wb"));
    if (file == nullptr) return std::strerror(errno);
    const size_t rowBytes = size_t{width} * 3 * static_cast<size_t>(bitDepth / 8);
    const uint32_t chunkRows = static_cast<uint32_t>(std::max<size_t>(1, kStripBytes / rowBytes));
    if (std::fwrite(preamble.data(), 1, preamble.size(), file.get()) != preamble.size())
        return std::strerror(errno);
    std::vector<unsigned char> buffer;
    for (uint32_t first = 0; first < height; first += chunkRows) {
        const uint32_t rows = std::min(chunkRows, height - first);
        const size_t size = rows * rowBytes;
        if (std::fwrite(rowsFor(pixels, rowBytes, first, rows, bitDepth, bits, buffer), 1, size,
                        file.get()) != size)
            return std::strerror(errno);
    }
    if (std::fclose(file.release()) != 0) return std::strerror(errno);
    return {};
}

std::string writeImage(ImageFormat format, const std::string& path, uint32_t width, uint32_t height,
                       int bitDepth, const unsigned char* pixels, SampleBits bits) {
    switch (format) {
        case ImageFormat::tiff:
            return writeRgbTiff(path, width, height, bitDepth, pixels, bits);
        case ImageFormat::npy:
            return writeRgbNpy(path, width, height, bitDepth, pixels, bits);
        case ImageFormat::png:
            break;
    }
    return writeRgbPng(path, width, height, bitDepth, pixels, bits);
}

}  // namespace pellucid
