#include "Common/KrCommon/KrComn_KrDbg.h"

#include <iterator>

namespace KrCommon::Library {

bool KrDbg::Bind(bool load, std::uint32_t* error) {
    const Entry entries[] = {
        {"KrDbgInitialize", reinterpret_cast<void**>(&m_fnInitialize)},
        {"KrDbgUninitialize", reinterpret_cast<void**>(&m_fnUninitialize)},
        {"KrDbgTrace", reinterpret_cast<void**>(&m_fnTrace)},
    };
    return load ? BindAll(entries, std::size(entries), error)
                : UnbindAll(entries, std::size(entries));
}

}  // namespace KrCommon::Library
