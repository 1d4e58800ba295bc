#pragma once

// Modules loaded at run time, and the functions taken from them by name.
//
// A concrete wrapper names its functions once, in a table, and holds one typed pointer for each.
// Error codes are Win32 codes, given through an optional out-parameter. Nothing here raises. An
// object is used by one thread at a time.

#include <cstddef>
#include <cstdint>
#include <string>

namespace KrCommon::Library {

// Owns one module.
class Base {
public:
    Base() = default;
    Base(const Base&) = delete;
    Base& operator=(const Base&) = delete;
    // Frees a module that is still loaded; a failure is ignored.
    virtual ~Base();

    // Takes all functions from the module (load), or lets go of them.
    virtual bool Bind(bool load, std::uint32_t* error) = 0;

    // Loads a module (LoadLibraryW). A null name gives 160, a module that is loaded already 5010,
    // a failure of the system its code. `flags` is reserved.
    bool Load(const wchar_t* name, std::uint32_t flags, std::uint32_t* error);

    // Frees the module (FreeLibrary). Without one the error is 6; after a failure of the system
    // the module is kept.
    bool Unload(std::uint32_t* error);

    bool IsLoaded() const { return m_pModule != nullptr; }

protected:
    // A function of the module (GetProcAddress): null without a module (error 6), for a null name
    // (error 160) and for a name that the module does not have.
    void* FindFunction(const char* name, std::uint32_t* error) const;

private:
    void* m_pModule = nullptr;
};

// Adds the state of the binding and the walk over the names.
class Wrapper : public Base {
public:
    // Unloads and unbinds when bound.
    ~Wrapper() override;

    bool IsBound() const { return m_bBound; }

protected:
    // Where the function of a name is to be stored.
    struct Entry {
        const char* name;
        void** function;
    };

    // Tries all names, in order; a missing one leaves its pointer null and the last failure in
    // `error`. True, and the wrapper bound, only when all were found.
    bool BindAll(const Entry* entries, std::size_t count, std::uint32_t* error);

    // Clears all pointers and the state. Always true.
    bool UnbindAll(const Entry* entries, std::size_t count);

private:
    bool m_bBound = false;
};

}  // namespace KrCommon::Library
