#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_File.h"
#include "Common/KrCommon/KrComn_IniFile.h"
#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_LogSettings.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/CommandText.h"
#include "wyctl/Commands.h"
#include "wyctl/Errors.h"
#include "wyctl/ProductIdentity.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

namespace Level = KrCommon::LogLevel;

constexpr const wchar_t* kSections[] = {L"InteractiveSession", L"ServiceSession"};

struct NamedLevel {
    const char* name;
    std::uint32_t mask;
};

constexpr NamedLevel kLevels[] = {
    {"error", Level::kError},
    {"warning", Level::kError | Level::kWarning},
    {"info", Level::kError | Level::kWarning | Level::kInformation},
    {"debug", Level::kError | Level::kWarning | Level::kInformation | Level::kDebug},
};

std::uint32_t ParseLevel(const std::string& text) {
    for (const NamedLevel& level : kLevels) {
        if (text == level.name) {
            return level.mask;
        }
    }
    const auto number = ParseNumber(text);
    if (!number || *number > UINT32_MAX) {
        throw UsageError(fmt::format(
            "'{}' is no level: error, warning, info, debug, or a mask of 32 bits", text));
    }
    return static_cast<std::uint32_t>(*number);
}

std::string LevelText(std::uint32_t mask) {
    for (const NamedLevel& level : kLevels) {
        if (mask == level.mask) {
            return fmt::format("0x{:08x} ({})", mask, level.name);
        }
    }
    return fmt::format("0x{:08x}", mask);
}

// What a log reads from one section of the file.
class Section {
public:
    Section(const std::wstring& file, const std::wstring& name) : m_strName(name) {
        using KrCommon::Storage::Key;
        const std::wstring folder(KrCommon::String::RemoveFileName(file));
        const std::wstring fileName(KrCommon::String::GetFileName(file));
        KrCommon::Storage::IniFile store;
        store.OpenForRead(Key(Key::kIniFile, folder.c_str(), fileName.c_str()), name);
        m_bEnabled = store.ReadDword(L"Enable", 0) == 1;
        m_uiLevel = store.ReadDword(L"Level", Level::kError);
        store.Close(false);
    }
    std::string Name() const { return KrCommon::String::ToUtf8(m_strName); }
    bool IsEnabled() const { return m_bEnabled; }
    std::uint32_t Mask() const { return m_uiLevel; }

private:
    std::wstring m_strName;
    bool m_bEnabled = false;
    std::uint32_t m_uiLevel = 0;
};

std::wstring ProductFile() {
    const std::wstring folder = WyCommon::Utility::GetProductPath();
    if (folder.empty()) {
        throw Failure("no product is installed; name a krdbg.ini with --file");
    }
    return WyCommon::Utility::JoinPath(folder, L"krdbg.ini");
}

void Change(Context& context, const std::wstring& file, const LogLevelOptions& options) {
    const Section now(file, kSections[0]);
    const bool enable = options.enable.value_or(now.IsEnabled());
    const std::uint32_t level = options.level.empty() ? now.Mask() : ParseLevel(options.level);
    if (options.file.empty()) {
        const std::uint32_t code =
            context.Export<decltype(&WySetDebugLog)>("WySetDebugLog")(enable, level);
        if (WY_FAILED(code)) {
            throw CallFailed("WySetDebugLog", {code, {}});
        }
    } else if (!WyCommon::LogSettings::WriteSwitch(file, enable, level)) {
        throw Failure(fmt::format("cannot write all of {}", KrCommon::String::ToUtf8(file)));
    }
}

// The folder of the logs, as the library tells it.
std::string LogFolder(Context& context) {
    const auto get = context.Export<decltype(&WyGetDebugLogFolder)>("WyGetDebugLogFolder");
    std::wstring folder;
    std::uint32_t size = 0;
    std::uint32_t code = get(nullptr, &size);
    if (code == WY_E_BUFFER_IS_NULL) {
        folder.resize(std::size_t{size} + 1);
        size = static_cast<std::uint32_t>(folder.size());
        code = get(folder.data(), &size);
    }
    if (WY_FAILED(code)) {
        throw CallFailed("WyGetDebugLogFolder", {code, {}});
    }
    return KrCommon::String::ToUtf8(folder.c_str());
}

void Show(Context& context, const std::wstring& file, bool folder) {
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["file"] = KrCommon::String::ToUtf8(file);
    std::string head = answer["file"].asString() + "\n";
    if (folder) {
        answer["folder"] = LogFolder(context);
        head += "logs lie in " + answer["folder"].asString() + "\n";
    }
    TextTable table({"session", "log", "level"});
    for (const wchar_t* name : kSections) {
        const Section section(file, name);
        Json::Value& item = answer["sections"][section.Name()];
        item["enabled"] = section.IsEnabled();
        item["level"] = section.Mask();
        table.AddRow(
            {section.Name(), section.IsEnabled() ? "on" : "off", LevelText(section.Mask())});
    }
    if (context.Options().json) {
        context.PrintJson(answer);
    } else {
        context.Screen().Out(head + table.Render());
    }
}

}  // namespace

std::string DefaultLogFile() {
    using KrCommon::Storage::LoadIniString;
    const std::wstring file = ProductFile();
    const auto setting = [&file](const wchar_t* name, const wchar_t* byDefault) {
        return LoadIniString(file.c_str(), L"ServiceSession", name, byDefault, nullptr);
    };
    const std::wstring prefix = setting(L"LogPrefix", L"qrn");
    std::wstring name = setting(L"LogFile", L"");
    if (name.empty()) {
        name = L"WySdk";
    }
    if (!prefix.empty()) {
        name = prefix + L"_" + name;
    }
    const std::wstring extension = setting(L"LogExtension", L"log");
    if (!extension.empty()) {
        name += L"." + extension;
    }
    return KrCommon::String::ToUtf8(
        WyCommon::Utility::JoinPath(WyCommon::LogSettings::GetLogFolder(), name));
}

void RunLogLevel(Context& context, const LogLevelOptions& options) {
    if (!options.level.empty()) {
        ParseLevel(options.level);
    }
    if (options.file.empty()) {
        AdoptLibraryIdentity(context);
    }
    const std::wstring file =
        options.file.empty() ? ProductFile() : KrCommon::String::FromUtf8(options.file);
    if (!KrCommon::Storage::File::Exists(file, nullptr)) {
        throw Failure(fmt::format("cannot open {}", KrCommon::String::ToUtf8(file)));
    }
    if (options.enable || !options.level.empty()) {
        Change(context, file, options);
        context.Screen().Err("wyctl: running logs keep their values until they start anew\n");
    }
    Show(context, file, options.folder);
}

}  // namespace WyCtl
