#include "unit/deploy/FakeMachine.h"

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Storage.h"
#include "deploy/DeployPlatform.h"

namespace deploy_test {

namespace OsVersion = KrCommon::OsVersion;
namespace Storage = KrCommon::Storage;

FakeMachine g_Machine;

FakeMachine MachineOf(std::uint32_t major, std::uint32_t minor, std::uint16_t servicePack,
                      std::uint8_t productType) {
    FakeMachine machine;
    machine.system.platformId = OsVersion::Platform::kNt;
    machine.system.majorVersion = major;
    machine.system.minorVersion = minor;
    machine.system.servicePack = servicePack;
    machine.system.productType = productType;
    return machine;
}

namespace {

// Reads the file of the machine. What the set-up has no business to do fails.
class FakeStore : public Storage::Base {
public:
    bool OpenForRead(const Storage::Key& key, const std::wstring& section) override {
        Step(L"open [" + section + L"] of " + key.GetName());
        m_Section = g_Machine.file[section];
        return true;
    }
    void Close(const bool& flush) override { Step(flush ? L"close with flush" : L"close"); }

    std::wstring ReadString(const std::wstring& name, const std::wstring& byDefault) override {
        Step(L"text " + name + L" (" + byDefault + L")");
        const auto found = m_Section.find(name);
        return found != m_Section.end() ? found->second : byDefault;
    }
    std::uint32_t ReadDword(const std::wstring& name, const std::uint32_t& byDefault) override {
        Step(L"number " + name + L" (" + std::to_wstring(byDefault) + L")");
        const auto found = m_Section.find(name);
        return found != m_Section.end() ? static_cast<std::uint32_t>(std::stoull(found->second))
                                        : byDefault;
    }

    bool OpenForWrite(const Storage::Key&, const std::wstring&) override { return Forbidden(); }
    void Flush() override { Forbidden(); }
    bool WriteString(const std::wstring&, const std::wstring&) override { return Forbidden(); }
    bool WriteDword(const std::wstring&, const std::uint32_t&) override { return Forbidden(); }
    bool DeleteSelf() override { return Forbidden(); }
    bool DeleteValue(const wchar_t*) override { return Forbidden(); }
    bool DeleteValue(const std::wstring&) override { return Forbidden(); }

private:
    static void Step(std::wstring step) {
        g_Machine.steps.push_back(std::move(step));
        if (--g_Machine.storeAnswers < 0)
            KrCommon::Exception::Raise<Storage::Exception>(0x10U, 7U, "FakeStore");
    }
    static bool Forbidden() {
        g_Machine.steps.emplace_back(L"forbidden");
        return false;
    }

    Section m_Section;
};

}  // namespace

}  // namespace deploy_test

namespace WyDeployHelper::Platform {

using deploy_test::g_Machine;

bool Exists(const std::wstring& path) {
    g_Machine.steps.push_back(L"exists " + path);
    return g_Machine.exists;
}

std::unique_ptr<KrCommon::Storage::Base> MakeIniStore() {
    g_Machine.steps.emplace_back(L"store");
    return std::make_unique<deploy_test::FakeStore>();
}

bool Is(std::uint32_t condition) noexcept {
    return KrCommon::OsVersion::Meets(g_Machine.system, condition);
}

bool GetVersion(Version& out) noexcept {
    g_Machine.steps.emplace_back(L"version");
    if (--g_Machine.versionAnswers < 0)
        return false;
    out.servicePack = g_Machine.smallFormOnly ? 0 : g_Machine.system.servicePack;
    out.buildNumber = g_Machine.buildNumber;
    return true;
}

}  // namespace WyDeployHelper::Platform
