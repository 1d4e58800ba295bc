// The packages of the traversals.

#include <map>

#include "deployment/SetupMachine_win32.h"

namespace deployment_test {

namespace {

using test_support::SampleOptions;

std::map<std::string, SampleOptions> MakeOptions() {
    std::map<std::string, SampleOptions> all;
    const auto add = [&all](const char* name, auto change) {
        SampleOptions options;
        options.contents = name;
        options.library = false;
        change(options);
        all[name] = options;
    };
    add("first", [](SampleOptions&) {});
    add("second", [](SampleOptions& o) { o.version = {3, 1, 0, 1159}; });
    add("unsigned", [](SampleOptions& o) { o.signer = test_support::SampleSigner::kNobody; });
    add("other-signer",
        [](SampleOptions& o) { o.signer = test_support::SampleSigner::kSomebodyElse; });
    add("registry-off", [](SampleOptions& o) { o.updateRegistry = false; });
    add("no-tools", [](SampleOptions& o) { o.externalTools = false; });
    add("refuses-system", [](SampleOptions& o) {
        o.checks = "CheckOS=1\r\nOS=WinVista\r\n";
        for (const char* system : {"WinXP", "WinVista", "Win7", "Win8", "Win8.1", "Win10"})
            o.checks += std::string("[Check") + system + "]\r\nMinBuildNumber=99999\r\n";
    });
    add("bad-key", [](SampleOptions& o) { o.failing = test_support::FailingItem::kRegistryKey; });
    add("bad-value",
        [](SampleOptions& o) { o.failing = test_support::FailingItem::kRegistryValue; });
    add("bad-folder", [](SampleOptions& o) { o.failing = test_support::FailingItem::kFolder; });
    add("bad-file", [](SampleOptions& o) { o.failing = test_support::FailingItem::kFile; });
    add("no-manifest", [](SampleOptions&) {});
    add("no-setup-file", [](SampleOptions&) {});
    add("dead-service",
        [](SampleOptions& o) { o.service = test_support::SampleService::kPlaceholder; });
    const auto real = [](SampleOptions& o) { o.service = test_support::SampleService::kReal; };
    add("real", real);
    add("real-second", [&](SampleOptions& o) {
        real(o);
        o.version = {3, 1, 0, 1159};
    });
    add("real-bad-file", [&](SampleOptions& o) {
        real(o);
        o.failing = test_support::FailingItem::kFile;
    });
    add("no-log", [](SampleOptions& o) { o.log = false; });
    return all;
}

}  // namespace

const SampleOptions& OptionsOf(const std::string& package) {
    static const std::map<std::string, SampleOptions> s_All = MakeOptions();
    return s_All.at(package);
}

}  // namespace deployment_test
