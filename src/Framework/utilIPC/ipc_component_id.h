#pragma once

#include <cstddef>

// The name of one party of the transport, from which its RPC endpoint is made.
//
// Holds at most 127 characters; a longer text is cut.
class CComponentID {
public:
    explicit CComponentID(const wchar_t* name);
    CComponentID(const CComponentID& other) = default;
    CComponentID& operator=(const CComponentID& other) = default;
    virtual ~CComponentID() = default;

    // Never null; valid as long as this object and unchanged until the next assignment.
    virtual const wchar_t* GetName() const;

private:
    static constexpr std::size_t kCapacity = 128;
    wchar_t m_szName[kCapacity] = {};
};
