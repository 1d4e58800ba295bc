#pragma once

// Names of kernel objects in the namespaces of a system with sessions. For Windows builds alone.

#include <string>

namespace KrCommon {

// A name in the global namespace, which all sessions share, and in that of its own session.
//
// "Global\" or "Local\" is put before the name, unless the name has that prefix already, wherever
// it stands. Systems before NT 5 know no namespaces, and a system that does not tell its version
// counts as one: there both names are the name as it is. An empty name gives empty names.
class CreationNames {
public:
    explicit CreationNames(const std::wstring& name);
    CreationNames(const CreationNames&) = delete;
    CreationNames& operator=(const CreationNames&) = delete;
    virtual ~CreationNames();

    const std::wstring& GetGlobalName() const { return m_strGlobal; }
    const std::wstring& GetLocalName() const { return m_strLocal; }

private:
    std::wstring m_strGlobal;
    std::wstring m_strLocal;
    std::wstring m_strReserved;  // stays empty
};

}  // namespace KrCommon
