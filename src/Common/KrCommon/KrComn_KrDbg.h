#pragma once

// The functions of the trace module, taken from it at run time.

#include "Common/KrCommon/KrComn_Library.h"
#include "Common/KrCommon/KrComn_LogContract.h"

namespace KrCommon::Library {

class KrDbg : public Wrapper {
public:
    bool Bind(bool load, std::uint32_t* error) override;

    // Null while the module does not give them.
    KrDbgInitializeFunction* m_fnInitialize = nullptr;
    KrDbgUninitializeFunction* m_fnUninitialize = nullptr;
    KrDbgTraceFunction* m_fnTrace = nullptr;
};

}  // namespace KrCommon::Library
