// Writes <pellucid/parameters.h> from the applet's parameter list, so that the ids, ranges and
// enumeration constants a program compiles against cannot drift from what the applet serves.
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "EnumTables.h"

namespace {

using namespace pellucid::enums;

struct Writer {
    std::ostringstream ids, entries;
    std::map<std::string, uint32_t> symbols;
    std::map<std::string, std::string> owners;
    bool conflict = false;

    static const char* access(int a) {
        return a == ACC_R ? "read only" : a == ACC_RW ? "read-write" : "read-write, changes apply at once";
    }

    void id(const char* name, long value, const std::string& what, const char* unit, int acc, const char* help) {
        ids << "/* " << help << "\n * " << what;
        // The list spells the micro sign in Latin-1; a C header stays ASCII.
        if (*unit != '\0') ids << ", " << (std::string(unit) == "\xB5s" ? "us" : unit);
        ids << ", " << access(acc) << " */\n#define " << name << " " << value << "\n";
    }

    std::map<const void*, std::string> tables;

    template <std::size_t N>
    void table(const char* parameter, const EnumField_ (&fields)[N]) {
        auto [seen, first] = tables.emplace(fields, parameter);
        if (!first) {
            entries << "/* " << parameter << ": the entries of " << seen->second << " */\n";
            return;
        }
        entries << "/* " << parameter << " */\n";
        for (const EnumField_& f : fields) {
            auto [it, fresh] = symbols.emplace(f.defName, f.value);
            if (!fresh) {
                if (it->second != f.value) {
                    std::cerr << "gen_parameters: " << f.defName << " is " << it->second << " in "
                              << owners[f.defName] << " but " << f.value << " in " << parameter << "\n";
                    conflict = true;
                }
                continue;
            }
            owners[f.defName] = parameter;
            entries << "#define " << f.defName << " " << f.value << " /* " << f.name << " */\n";
        }
    }
};

std::string range(double from, double to, double step) {
    std::ostringstream s;
    s << from << " .. " << to;
    if (step != 0) s << " step " << step;
    return s.str();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: gen_parameters OUTPUT\n";
        return 2;
    }
    Writer w;
    // The unused row arguments differ by row kind; each macro takes what its comment needs.
#define PARAM_UINT(N, g, from, to, step, acc, rf, unit, set, get, help) \
    w.id(#N, N, "unsigned integer " + range(from, to, step), unit, acc, help);
#define PARAM_DOUBLE(N, g, from, to, step, acc, rf, unit, set, get, help) \
    w.id(#N, N, "double " + range(from, to, 0), unit, acc, help);
#define PARAM_ENUM(N, g, fields, acc, rf, unit, set, get, help)                                 \
    w.id(#N, N, std::string("enumeration, entries below under ") + #N, unit, acc, help); \
    w.table(#N, fields);
#define PARAM_STRING(N, g, pattern, acc, rf, unit, set, get, help) \
    w.id(#N, N, std::string("string, files ") + pattern, unit, acc, help);
#define PARAM_FIELD(N, g, count, from, to, acc, rf, unit, set, get, help) \
    w.id(#N, N, "field of " + std::to_string(count) + " values, each " + range(from, to, 1), unit, acc, help);
#include "ParameterList.h"
    if (w.conflict) return 1;

    std::ofstream out(argv[1]);
    out << "/* Parameters of the Pellucid applet: the id of every parameter with its type, range,\n"
           " * unit and access, and a named constant for every enumeration entry. Generated from\n"
           " * the applet's parameter list by the build; do not edit. */\n"
           "#ifndef PELLUCID_PARAMETERS_H\n#define PELLUCID_PARAMETERS_H\n\n"
           "/* ---- parameter ids ---- */\n"
        << w.ids.str() << "\n/* ---- enumeration entries, by parameter ---- */\n"
        << w.entries.str() << "\n#endif\n";
    out.close();
    if (!out) {
        std::cerr << "gen_parameters: cannot write " << argv[1] << "\n";
        return 1;
    }
    return 0;
}
