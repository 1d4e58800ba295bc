#pragma once

// A package of a few small files with something for each step of an install to do.

#include <string>

namespace deploy_test {

// How one package differs from the other.
struct SweepPackage {
    std::wstring folder;
    std::string content;        // what its files say
    bool isBroken = false;      // its last item cannot be carried out
    std::wstring expat = {};    // the XML library, copied
    std::wstring program = {};  // the service program, copied: signed, with a version
};

// Writes all of it. Failures are std::runtime_error.
void Write(const SweepPackage& package);

}  // namespace deploy_test
