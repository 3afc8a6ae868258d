// Builds the GenApi description (schema version 1.1) of one port's parameters from their
// description records: a category per group under "Root", a feature per parameter, and behind
// each feature a register on the port "Device".
//
// Register addresses on "Device": the parameter id, 4 bytes long (8 for doubles and 64-bit
// values, 256 for strings). The entries of a field parameter lie at (id << 32) + 4 × index, the
// index chosen with the feature "<NAME>_Index".
#pragma once

#include <string>

#include "fg_types.h"

class Fg_ParameterInfo;
class FgZeWrapper;

class ParameterInfoBuilderXML {
  public:
    static constexpr int kStringLength = 256;

    ParameterInfoBuilderXML(Fg_ParameterInfo* info, FgZeWrapper& wrapper, int port);
    std::string build();

  private:
    void category(const RegisterInfo& group, const std::string& nodeName);
    void feature(const RegisterInfo& r);
    std::string commonElements(const RegisterInfo& r, const char* displayName);

    Fg_ParameterInfo* mInfo;
    FgZeWrapper& mWrapper;
    int mPort;
    std::string mNodes;  // every node after the root category
};
