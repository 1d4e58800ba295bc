#pragma once

// Part of a machine, kept to be put back: folders with their files, and keys of the registry.

#include <map>
#include <string>
#include <vector>

#include "support/MachineThings_win32.h"

namespace deploy_test {

// Taken of what a scope looks at, files and registry; services and events are not in it.
class MachineImage {
public:
    explicit MachineImage(const test_support::MachineScope& scope);

    // Makes the machine of a scope what the image has. Works on what differs alone.
    void PutBack() const;

private:
    struct Value {
        DWORD type;
        std::vector<BYTE> bytes;
        bool operator==(const Value&) const = default;
    };
    // A key by its path below one hive, in one view.
    struct KeyName {
        HKEY root;
        REGSAM view;
        std::wstring path;
        auto operator<=>(const KeyName&) const = default;
    };
    using Values = std::map<std::wstring, Value>;
    struct Content {
        std::map<std::wstring, std::string> files;  // by their whole paths
        std::vector<std::wstring> folders;          // those above come before those below
        std::map<KeyName, Values> keys;
        std::map<std::pair<KeyName, std::wstring>, Value> values;
    };

    static Content Read(const test_support::MachineScope& scope);
    static void ReadFolder(const std::wstring& folder, Content& content);
    static void ReadFile(const std::wstring& path, Content& content);
    static void ReadKey(const KeyName& name, Content& content);
    static void ReadValue(const KeyName& name, const std::wstring& value, Content& content);
    static void WriteValue(HKEY key, const std::wstring& name, const Value& value);

    void PutFilesBack(const Content& now) const;
    void PutRegistryBack(const Content& now) const;

    const test_support::MachineScope m_Scope;
    Content m_Content;
};

}  // namespace deploy_test
