#pragma once

// Puts a stand-in in the place of one function that a loaded module imports.
//
// A module calls foreign functions through its import address table. A test that needs the system
// to refuse something changes one entry of the table of the module under test; every other module
// of the process goes on with the real function. What the module finds by GetProcAddress, or what
// goes on inside a library of the system, is not reached.

#include <cstddef>
#include <cstring>
#include <stdexcept>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"

namespace test_support {

// The import table of one module, as the loader has left it in memory.
class ImportTable {
public:
    explicit ImportTable(HMODULE module) : m_pBase(reinterpret_cast<unsigned char*>(module)) {}

    // The entry through which calls of a function go; null when the module does not import it.
    // Names of libraries ignore case.
    void** Find(const char* library, const char* function) const {
        for (const IMAGE_IMPORT_DESCRIPTOR* import = Imports(); import->Name != 0; ++import) {
            if (_stricmp(At<char>(import->Name), library) != 0)
                continue;
            if (void** entry = FindIn(*import, function); entry != nullptr)
                return entry;
        }
        return nullptr;
    }

    // Calls `action(library, function)` for each function that the module imports by name.
    template <class Action>
    void ForEach(Action action) const {
        for (const IMAGE_IMPORT_DESCRIPTOR* import = Imports(); import->Name != 0; ++import) {
            const auto* name = At<IMAGE_THUNK_DATA>(import->OriginalFirstThunk);
            for (; name->u1.AddressOfData != 0; ++name) {
                if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                    action(At<char>(import->Name), ImportedName(*name));
            }
        }
    }

private:
    template <class Type>
    Type* At(std::size_t offset) const {
        return reinterpret_cast<Type*>(m_pBase + offset);
    }

    const IMAGE_IMPORT_DESCRIPTOR* Imports() const {
        const auto offset = static_cast<std::size_t>(At<IMAGE_DOS_HEADER>(0)->e_lfanew);
        const IMAGE_DATA_DIRECTORY* directories =
            At<IMAGE_NT_HEADERS>(offset)->OptionalHeader.DataDirectory;
        return At<IMAGE_IMPORT_DESCRIPTOR>(
            directories[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    }

    // Names and addresses stand in two tables of the same order.
    void** FindIn(const IMAGE_IMPORT_DESCRIPTOR& import, const char* function) const {
        const auto* name = At<IMAGE_THUNK_DATA>(import.OriginalFirstThunk);
        auto** address = At<void*>(import.FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++address) {
            if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) &&
                std::strcmp(ImportedName(*name), function) == 0)
                return address;
        }
        return nullptr;
    }

    const char* ImportedName(const IMAGE_THUNK_DATA& name) const {
        const auto offset = static_cast<std::size_t>(name.u1.AddressOfData);
        return reinterpret_cast<const char*>(At<IMAGE_IMPORT_BY_NAME>(offset)->Name);
    }

    unsigned char* m_pBase;
};

// One replaced import for the length of a scope.
//
//     RPC_STATUS RPC_ENTRY Refuse(const UUID*, RPC_CSTR*) { return RPC_S_OUT_OF_MEMORY; }
//     const IatPatch patch(library, "rpcrt4.dll", "UuidToStringA", Refuse);
//
// Patches of the same import are taken back in reverse order. Entries are exchanged atomically,
// but a call that is under way in another thread ends as it began.
class IatPatch {
public:
    // Raises std::runtime_error when the module does not import the function, so that no test
    // passes because nothing was replaced.
    template <class Function>
    IatPatch(HMODULE module, const char* library, const char* function, Function* replacement)
        : m_pEntry(ImportTable(module).Find(library, function)), m_pOriginal(nullptr) {
        if (m_pEntry == nullptr)
            throw std::runtime_error(std::string("no import of ") + library + "!" + function);
        m_pOriginal = Exchange(reinterpret_cast<void*>(replacement));
    }
    IatPatch(const IatPatch&) = delete;
    IatPatch& operator=(const IatPatch&) = delete;
    ~IatPatch() { Exchange(m_pOriginal); }

    // What the module called before.
    template <class Function>
    Function* Original() const {
        return reinterpret_cast<Function*>(m_pOriginal);
    }

private:
    void* Exchange(void* address) const {
        DWORD protection = 0;
        VirtualProtect(m_pEntry, sizeof *m_pEntry, PAGE_READWRITE, &protection);
        void* const former = InterlockedExchangePointer(m_pEntry, address);
        VirtualProtect(m_pEntry, sizeof *m_pEntry, protection, &protection);
        return former;
    }

    void** m_pEntry;
    void* m_pOriginal;
};

}  // namespace test_support
