// Builds the GenApi description (schema version 1.1) of one port's parameters from their
// description records: a category per group under "Root", a feature per parameter, and behind
// each feature registers on the port "Device" (addresses: GenApiAddress.h). Limits and access
// are registers too, so a consumer reads them as the applet's setters leave them.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "fg_types.h"

class Fg_ParameterInfo;
class FgZeWrapper;

// A feature of the standard naming convention that maps onto one of the applet's parameters.
struct GenApiEntryName {
    const char* symbol;  // the parameter's entry, by its symbolic name
    const char* name;    // the standard entry name
};
struct GenApiStandardFeature {
    enum Kind {
        Alias,    // the parameter under the standard name (enumeration entries renamed by `entries`)
        Command,  // a command that writes `value` to the parameter
        OnOff,    // an enumeration Off/On over an enumeration parameter: Off is the entry `off`; On
                  // keeps any other entry and picks `on` when the parameter was off
    };
    const char* name;
    const char* category;
    int id;
    Kind kind = Alias;
    uint32_t value = 0;
    std::span<const GenApiEntryName> entries = {};
    const char* off = nullptr;
    const char* on = nullptr;
};

class ParameterInfoBuilderXML {
  public:
    ParameterInfoBuilderXML(Fg_ParameterInfo* info, FgZeWrapper& wrapper, int port);
    std::string build();

  private:
    void category(const RegisterInfo& group, const std::string& nodeName);
    void registers(const RegisterInfo& r);
    std::string feature(const RegisterInfo& r, const std::string& name, const char* nameSpace,
                        std::span<const GenApiEntryName> renames = {});
    std::string standardFeatures();
    std::string commonElements(const RegisterInfo& r, const char* displayName);
    const RegisterInfo* record(int id) const;
    const GenApiStandardFeature* commandOn(int id);

    Fg_ParameterInfo* mInfo;
    FgZeWrapper& mWrapper;
    int mPort;
    std::string mNodes;  // every node after the root category
};
