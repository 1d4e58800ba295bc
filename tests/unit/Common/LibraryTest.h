#pragma once

// A wrapper over the module of the tests, which knows two functions of it and can look for more.

#include <cstdint>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_Library.h"
#include "support/RunProgram.h"

namespace test_library {

constexpr std::uint32_t kUntouched = 0x5a5a5a5a;

// The module lies beside the test program.
inline std::wstring ModulePath() {
    std::wstring path = (test_support::ProgramFolder() / "LibraryTestModule.dll").wstring();
    for (wchar_t& character : path) {
        if (character == L'/')
            character = L'\\';
    }
    return path;
}

class Wrapper : public KrCommon::Library::Wrapper {
public:
    using Function = int (*)();

    explicit Wrapper(std::vector<const char*> names)
        : m_Names(std::move(names)), m_Functions(m_Names.size(), Marker()) {}

    bool Bind(bool load, std::uint32_t* error) override {
        std::vector<Entry> entries;
        for (std::size_t i = 0; i < m_Names.size(); ++i)
            entries.push_back({m_Names[i], &m_Functions[i]});
        return load ? BindAll(entries.data(), entries.size(), error)
                    : UnbindAll(entries.data(), entries.size());
    }

    // What a call of the function at an index gives; 0 without one.
    int Call(std::size_t index) const {
        const auto function = reinterpret_cast<Function>(m_Functions[index]);
        return function != nullptr ? function() : 0;
    }
    bool Has(std::size_t index) const { return m_Functions[index] != nullptr; }
    bool IsMarked(std::size_t index) const { return m_Functions[index] == Marker(); }

    using Base::FindFunction;

private:
    // What no binding has touched yet.
    static void* Marker() {
        static int s_iMarker;
        return &s_iMarker;
    }

    std::vector<const char*> m_Names;
    std::vector<void*> m_Functions;
};

}  // namespace test_library
