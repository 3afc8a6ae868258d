// The design tool's last step for the virtual design: takes the design's items (a text file
// without configuration data) and writes the design file a board loads, exactly SIZE bytes long:
//
//   <the items>
//   bitstream LENGTH CHECKSUM   LENGTH bytes of configuration data follow this line, then a LF;
//                               CHECKSUM is their 64-bit XXH3 hash in 16 hex digits
//   <data>
//   end
//
// The data stands in for an FPGA bitstream. It is a pseudo-random stream seeded from the items,
// so the same items always give the same file, and another design another bitstream.
//
//   design_writer ITEMS OUTPUT SIZE
#include <xxhash.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

int fail(const std::string& what) {
    std::fprintf(stderr, "design_writer: %s\n", what.c_str());
    return 1;
}

std::string sectionLine(size_t length, uint64_t checksum) {
    char line[64];
    std::snprintf(line, sizeof line, "bitstream %zu %016llx\n", length,
                  static_cast<unsigned long long>(checksum));
    return line;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) return fail("usage: design_writer ITEMS OUTPUT SIZE");
    std::ifstream in(argv[1], std::ios::binary);
    if (!in) return fail(std::string("cannot read '") + argv[1] + "'");
    std::string items((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (!items.empty() && items.back() != '\n') items.push_back('\n');
    char* end = nullptr;
    const unsigned long long size = std::strtoull(argv[3], &end, 10);
    if (end == argv[3] || *end != '\0') return fail(std::string("bad size '") + argv[3] + "'");

    // The section line's length depends on the data's length: settle on the one that fits.
    const std::string tail = "\nend\n";
    size_t length = 0;
    for (int round = 0; round < 4; ++round) {
        const size_t fixed = items.size() + sectionLine(length, 0).size() + tail.size();
        if (size < fixed) return fail("SIZE is smaller than the design's items");
        length = size - fixed;
    }
    if (items.size() + sectionLine(length, 0).size() + length + tail.size() != size)
        return fail("no data length gives exactly SIZE bytes");

    std::vector<unsigned char> data(length);
    uint64_t state = XXH3_64bits(items.data(), items.size()) | 1;
    for (size_t i = 0; i < length; ++i) {
        if (i % 8 == 0) {  // xorshift64*
            state ^= state >> 12;
            state ^= state << 25;
            state ^= state >> 27;
        }
        data[i] = static_cast<unsigned char>((state * 0x2545F4914F6CDD1DULL) >> (8 * (i % 8)));
    }

    const std::string temporary = std::string(argv[2]) + ".part";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out << items << sectionLine(length, XXH3_64bits(data.data(), data.size()));
        out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
        out << tail;
        if (!out.flush()) return fail("cannot write '" + temporary + "'");
    }
    if (std::rename(temporary.c_str(), argv[2]) != 0)
        return fail(std::string("cannot write '") + argv[2] + "'");
    return 0;
}
