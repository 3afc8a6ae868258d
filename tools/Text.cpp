#include "Text.h"

#include <algorithm>
#include <cctype>

namespace pellucid {
namespace {

std::string folded(std::string_view s) {
    if (s.size() > 3 && equalsIgnoreCase(s.substr(0, 3), "FG_")) s.remove_prefix(3);
    std::string out(s);
    for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return out;
}

// Insertions, deletions, substitutions and swaps of neighbours, each one step.
size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> d(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) d[i][0] = i;
    for (size_t j = 0; j <= b.size(); ++j) d[0][j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        for (size_t j = 1; j <= b.size(); ++j) {
            d[i][j] = std::min(
                {d[i - 1][j] + 1, d[i][j - 1] + 1, d[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                d[i][j] = std::min(d[i][j], d[i - 2][j - 2] + 1);
        }
    }
    return d[a.size()][b.size()];
}

}  // namespace

void appendUtf8(std::string& out, unsigned long cp) {
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        out += static_cast<char>(0xE0 | (cp >> 12));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x110000) {
        out += static_cast<char>(0xF0 | (cp >> 18));
        out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

std::string utf8(const char* latin1) {
    std::string out;
    if (latin1 == nullptr) return out;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(latin1); *p != 0; ++p)
        appendUtf8(out, *p);
    return out;
}

bool equalsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::vector<std::string> nearMisses(std::string_view word, const std::vector<std::string>& candidates,
                                    size_t most) {
    const std::string w = folded(word);
    if (w.empty()) return {};
    // One slip in a short word, about one in three in a long one.
    const size_t limit = std::max<size_t>(1, w.size() / 3);
    std::vector<std::pair<size_t, const std::string*>> close;
    for (const std::string& c : candidates) {
        const size_t d = editDistance(w, folded(c));
        if (d <= limit) close.emplace_back(d, &c);
    }
    if (close.empty() && w.size() >= 3) {
        for (const std::string& c : candidates) {
            if (folded(c).find(w) != std::string::npos) close.emplace_back(0, &c);
        }
    }
    std::stable_sort(close.begin(), close.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> out;
    for (const auto& [d, c] : close) {
        if (out.size() == most) break;
        out.push_back(*c);
    }
    return out;
}

std::string didYouMean(std::string_view word, const std::vector<std::string>& candidates) {
    const std::vector<std::string> near = nearMisses(word, candidates);
    if (near.empty()) return {};
    std::string s = "; did you mean " + near[0];
    for (size_t i = 1; i < near.size(); ++i) s += (i + 1 == near.size() ? " or " : ", ") + near[i];
    return s + "?";
}

}  // namespace pellucid
