// Reader of the virtual board's design files.
//
// A design file is plain ASCII text, one item a line. '#' starts a comment that runs to the end of
// the line; blank lines are ignored; words are separated by blanks or tabs; a line ends with LF
// (a CR before it is dropped) and may be at most 1024 bytes long. The first item is the magic
// line, the last one `end` (which tells a complete file from a truncated one):
//
//   QORV-DESIGN 1                      magic and format version
//   name Pellucid                      design name (one word)
//   version 1.2                        design version (one word)
//   typecode 2628                      type code, 0..2147483647
//   uid 3c1f9a27-...                   design identifier (one word)
//   register NAME WIDTH ACCESS         raw register; numbered 1.. in file order
//   param NAME uint BITS ACCESS        design parameter holding an unsigned value
//   param NAME double BITS FRAC ACCESS   a double stored as a BITS-bit code with FRAC fraction bits
//   param NAME field ENTRIES BITS ACCESS a field of ENTRIES (1..1048576) entries of BITS (1..32) bits
//   event NAME                         event; the i-th event (from 0) has the mask 1 << i, at most 64
//   bitstream LENGTH CHECKSUM          configuration data: LENGTH raw bytes follow this line's LF,
//                                      then a LF; CHECKSUM is their 64-bit XXH3 hash, 16 hex digits
//   end
//
// WIDTH and BITS are 1..64 unless said otherwise, FRAC is 0..BITS, ACCESS is rw, ro or wo. Names
// are letters, digits and '_', not starting with a digit, at most 255 characters; registers and
// parameters share one name space, events have their own. name, version, typecode and uid must each
// appear exactly once, and so does `bitstream`: a design whose configuration data is truncated or
// altered is refused. Numbers are decimal without sign. Only comments and blank lines may follow
// `end`.
#include "design_reader.h"

#include <xxhash.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

namespace vboard {

namespace {

constexpr size_t kMaxLine = 1024;
constexpr size_t kMaxName = 255;
constexpr uint64_t kMaxFieldEntries = 1048576;
constexpr size_t kMaxItems = 65536;  // registers, parameters
constexpr uint64_t kMaxBitstream = uint64_t{1} << 30;

struct Failure {
    std::string text;
};

class Reader {
  public:
    explicit Reader(std::string_view data) : data_(data) {}

    std::unique_ptr<fpga_design_s> read() {
        auto design = std::make_unique<fpga_design_s>();
        d_ = &design->design;
        size_t pos = 0;
        while (pos < data_.size()) {
            size_t end = data_.find('\n', pos);
            const bool terminated = end != std::string_view::npos;
            if (!terminated) end = data_.size();
            ++lineNo_;
            line(data_.substr(pos, end - pos));
            pos = terminated ? end + 1 : end;
            if (pendingData_) {
                pos = bitstream(pos, *pendingData_);
                pendingData_.reset();
            }
        }
        if (lineNo_ == 0) fail("empty design");
        if (!sawMagic_) fail("not a design file (no 'QORV-DESIGN 1' line)");
        if (!sawEnd_) fail("design ends without 'end' (truncated?)");
        return design;
    }

  private:
    // The configuration data announced by the line before `pos`: whole, unaltered, and followed
    // by a LF. Returns where the next line starts.
    size_t bitstream(size_t pos, uint64_t length) {
        const size_t present = data_.size() - pos;
        if (present < length)
            fail("configuration data truncated (" + std::to_string(length) + " bytes announced, " +
                 std::to_string(present) + " present)");
        const uint64_t checksum = XXH3_64bits(data_.data() + pos, length);
        if (checksum != bitstreamChecksum_) {
            char text[96];
            std::snprintf(text, sizeof text,
                          "configuration data altered (checksum %016llx, announced %016llx)",
                          static_cast<unsigned long long>(checksum),
                          static_cast<unsigned long long>(bitstreamChecksum_));
            fail(text);
        }
        if (present == length || data_[pos + length] != '\n')
            fail("no line end after the configuration data");
        return pos + length + 1;
    }

    [[noreturn]] void fail(const std::string& what) const {
        throw Failure{"line " + std::to_string(lineNo_ == 0 ? 1 : lineNo_) + ": " + what};
    }

    void line(std::string_view text) {
        if (text.size() > kMaxLine) fail("line longer than " + std::to_string(kMaxLine) + " bytes");
        if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
        for (char c : text) {
            if (c == '\0') fail("NUL byte");
            const auto u = static_cast<unsigned char>(c);
            if ((u < 0x20 && c != '\t') || u >= 0x7f)
                fail("character " + std::to_string(u) + " is not printable ASCII");
        }
        if (size_t hash = text.find('#'); hash != std::string_view::npos) text = text.substr(0, hash);
        words_.clear();
        size_t i = 0;
        while (i < text.size()) {
            while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) ++i;
            size_t start = i;
            while (i < text.size() && text[i] != ' ' && text[i] != '\t') ++i;
            if (i > start) words_.push_back(text.substr(start, i - start));
        }
        if (words_.empty()) return;
        if (sawEnd_) fail("text after 'end'");
        if (!sawMagic_) {
            if (words_.size() != 2 || words_[0] != "QORV-DESIGN")
                fail("not a design file (expected 'QORV-DESIGN 1')");
            if (words_[1] != "1") fail("unsupported format version '" + std::string(words_[1]) + "'");
            sawMagic_ = true;
            return;
        }
        item();
    }

    void item() {
        const std::string_view key = words_[0];
        if (key == "name" || key == "version" || key == "uid") {
            argCount(1, std::string(key) + " WORD");
            const int which = key == "name" ? 0 : key == "version" ? 1 : 2;
            header(which);
            const std::string v(words_[1]);
            if (which == 0) d_->setName(v);
            if (which == 1) d_->setVersion(v);
            if (which == 2) d_->setUid(v);
        } else if (key == "typecode") {
            argCount(1, "typecode NUMBER");
            header(3);
            d_->setTypeCode(static_cast<int>(number(words_[1], 0, 2147483647, "type code")));
        } else if (key == "register") {
            argCount(3, "register NAME WIDTH ACCESS");
            if (d_->registers().size() >= kMaxItems) fail("too many registers");
            RegisterLayout r{name(words_[1]), static_cast<int>(number(words_[2], 1, 64, "width")),
                             access(words_[3])};
            if (!d_->addRegister(std::move(r))) fail("duplicate name '" + std::string(words_[1]) + "'");
        } else if (key == "param") {
            param();
        } else if (key == "event") {
            argCount(1, "event NAME");
            const std::string n = name(words_[1]);
            if (d_->findEvent(n) >= 0) fail("duplicate event '" + n + "'");
            if (d_->events().size() >= Design::kMaxEvents) fail("more than 64 events");
            d_->addEvent(n);
        } else if (key == "bitstream") {
            argCount(2, "bitstream LENGTH CHECKSUM");
            if (sawBitstream_) fail("second 'bitstream'");
            sawBitstream_ = true;
            const uint64_t length = number(words_[1], 0, kMaxBitstream, "configuration data length");
            const std::string_view hex = words_[2];
            auto [ptr, ec] = std::from_chars(hex.data(), hex.data() + hex.size(), bitstreamChecksum_, 16);
            if (hex.size() != 16 || ec != std::errc() || ptr != hex.data() + hex.size())
                fail("checksum must be 16 hex digits, not '" + std::string(hex.substr(0, 32)) + "'");
            pendingData_ = length;
        } else if (key == "end") {
            argCount(0, "end");
            static const char* const headers[] = {"name", "version", "uid", "typecode"};
            for (int i = 0; i < 4; ++i)
                if (!seen_[i]) fail(std::string("missing '") + headers[i] + "'");
            if (!sawBitstream_) fail("missing 'bitstream' (the design carries no configuration data)");
            sawEnd_ = true;
        } else if (key == "QORV-DESIGN") {
            fail("second 'QORV-DESIGN' line");
        } else {
            fail("unknown keyword '" + std::string(key) + "'");
        }
    }

    void param() {
        if (words_.size() < 3) fail("'param' needs NAME KIND ...");
        if (d_->parameters().size() >= kMaxItems) fail("too many parameters");
        ParameterLayout p;
        p.name = name(words_[1]);
        const std::string_view kind = words_[2];
        if (kind == "uint") {
            argCount(4, "param NAME uint BITS ACCESS");
            p.kind = ParamKind::Uint;
            p.bits = static_cast<int>(number(words_[3], 1, 64, "width"));
            p.access = access(words_[4]);
        } else if (kind == "double") {
            argCount(5, "param NAME double BITS FRACTION ACCESS");
            p.kind = ParamKind::Double;
            p.bits = static_cast<int>(number(words_[3], 1, 64, "width"));
            p.fraction = static_cast<int>(number(words_[4], 0, static_cast<uint64_t>(p.bits), "fraction"));
            p.access = access(words_[5]);
        } else if (kind == "field") {
            argCount(5, "param NAME field ENTRIES BITS ACCESS");
            p.kind = ParamKind::Field;
            p.entries = static_cast<uint32_t>(number(words_[3], 1, kMaxFieldEntries, "entries"));
            p.bits = static_cast<int>(number(words_[4], 1, 32, "width"));
            p.access = access(words_[5]);
        } else {
            fail("unknown parameter kind '" + std::string(kind) + "' (uint, double or field)");
        }
        if (!d_->addParameter(std::move(p))) fail("duplicate name '" + std::string(words_[1]) + "'");
    }

    void argCount(size_t n, const std::string& usage) const {
        if (words_.size() != n + 1) fail("expected '" + usage + "'");
    }

    void header(int which) {
        static const char* const headers[] = {"name", "version", "uid", "typecode"};
        if (seen_[which]) fail(std::string("duplicate '") + headers[which] + "'");
        seen_[which] = true;
    }

    uint64_t number(std::string_view word, uint64_t min, uint64_t max, const char* what) const {
        uint64_t v = 0;
        const char* first = word.data();
        const char* last = word.data() + word.size();
        auto [ptr, ec] = std::from_chars(first, last, v);
        if (word.empty() || word[0] < '0' || word[0] > '9' || ec != std::errc() || ptr != last)
            fail("bad number '" + std::string(word) + "'");
        if (v < min || v > max)
            fail(std::string(what) + " must be " + std::to_string(min) + ".." + std::to_string(max));
        return v;
    }

    std::string name(std::string_view word) const {
        bool ok = !word.empty() && word.size() <= kMaxName && !(word[0] >= '0' && word[0] <= '9');
        for (char c : word)
            ok = ok &&
                 ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_');
        if (!ok) fail("bad name '" + std::string(word.substr(0, 64)) + "'");
        return std::string(word);
    }

    Access access(std::string_view word) const {
        if (word == "rw") return Access::ReadWrite;
        if (word == "ro") return Access::ReadOnly;
        if (word == "wo") return Access::WriteOnly;
        fail("access must be rw, ro or wo, not '" + std::string(word) + "'");
    }

    std::string_view data_;
    Design* d_ = nullptr;
    size_t lineNo_ = 0;
    bool sawMagic_ = false;
    bool sawEnd_ = false;
    bool seen_[4] = {};
    bool sawBitstream_ = false;
    std::optional<uint64_t> pendingData_;  // announced by the line just read
    uint64_t bitstreamChecksum_ = 0;
    std::vector<std::string_view> words_;
};

}  // namespace

std::unique_ptr<fpga_design_s> readDesign(std::string_view data, std::string* error) {
    try {
        auto design = Reader(data).read();
        error->clear();
        return design;
    } catch (const Failure& f) {
        *error = f.text;
    } catch (const std::bad_alloc&) {
        *error = "out of memory";
    }
    return nullptr;
}

}  // namespace vboard
