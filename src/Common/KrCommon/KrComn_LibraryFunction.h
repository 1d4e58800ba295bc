#pragma once

// A function that not every system has: found at run time, for the length of a scope.
//
//     Library::Function<std::uint32_t WINAPI()> ask;
//     if (!ask.Find(L"kernel32.dll", "WTSGetActiveConsoleSessionId", error))
//         return false;
//     id = ask.Get()();
//
// The module is loaded by Find() and freed with the object, so that a look-up leaves nothing
// loaded behind it.

#include <cstdint>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Library.h"

namespace KrCommon::Library {

// `Signature` is a function type with its calling convention. Used by one thread at a time.
template <class Signature>
class Function final : public Base {
public:
    // Loads the module and finds the function; an object finds one function in its life. A null
    // name of either gives 160, a failure of the system its code as it is.
    bool Find(const wchar_t* module, const char* name, std::uint32_t* error) {
        m_szName = name;
        return Load(module, 0, error) && Bind(true, error);
    }

    bool Bind(bool load, std::uint32_t* error) override {
        m_pFunction = load ? reinterpret_cast<Signature*>(FindFunction(m_szName, error)) : nullptr;
        return !load || m_pFunction != nullptr;
    }

    // The function, null when none was found.
    Signature* Get() const { return m_pFunction; }

    // The same, with the code for a missing one: 6.
    Signature* Get(std::uint32_t* error) const {
        if (error != nullptr)
            *error = m_pFunction != nullptr ? ErrorCode::kSuccess : ErrorCode::kInvalidHandle;
        return m_pFunction;
    }

private:
    const char* m_szName = nullptr;
    Signature* m_pFunction = nullptr;
};

}  // namespace KrCommon::Library
