#pragma once

namespace Frwk::Mode {

// Decides the identity while the library loads, by the host executable that lies beside it.
//
// One static object of this class is made before anything else of the library. The first row of
// the table whose host executable exists in the library's folder wins; without one nothing is
// stored, and the name of the running executable decides later.
class ExternalDllMode {
public:
    // `dll` is the name of the library's module, `host` that of the first identity's host.
    // Never raises: an exception here would end the program that loads the library.
    ExternalDllMode(const wchar_t* dll, const wchar_t* host) noexcept;
};

}  // namespace Frwk::Mode
