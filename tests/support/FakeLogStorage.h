#pragma once

// A store for the configuration of a log, in memory.

#include <cstdint>
#include <cwchar>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_LogStorage.h"

namespace test_support {

// What all fake stores hold, and what was done with them. One test at a time.
class FakeLogStorage {
private:
    struct Contents {
        std::map<std::wstring, std::wstring> values;
        std::vector<std::wstring> steps;
        std::vector<std::uint32_t> types;
        int raiseAt = -1;
    };

    static Contents& Content() {
        static Contents s_Contents;
        return s_Contents;
    }

    static std::mutex& Mutex() {
        static std::mutex s_Mutex;
        return s_Mutex;
    }

    template <class Action>
    static auto With(Action action) {
        const std::lock_guard guard(Mutex());
        return action();
    }

public:
    // Every step of a store, in order: "open <section>", "<key>=<default>", "close".
    static std::vector<std::wstring> Steps() {
        return With([] { return Content().steps; });
    }
    // The types of key that stores were made for.
    static std::vector<std::uint32_t> Types() {
        return With([] { return Content().types; });
    }

    static void Set(const std::wstring& key, const std::wstring& value) {
        With([&] { Content().values[key] = value; });
    }
    // The step with this number, counted from 0, raises instead.
    static void RaiseAt(int step) {
        With([step] { Content().raiseAt = step; });
    }
    static void Clear() {
        With([] { Content() = {}; });
    }

    static std::unique_ptr<KrCommon::Storage::Base> Make(std::uint32_t type) {
        With([type] { Content().types.push_back(type); });
        return type == 0 || type == 1 || type == 4 ? std::make_unique<Store>() : nullptr;
    }

private:
    class Store : public KrCommon::Storage::Base {
    public:
        bool OpenForRead(const KrCommon::Storage::Key&, const std::wstring& section) override {
            Step(L"open " + section);
            return true;
        }
        bool OpenForWrite(const KrCommon::Storage::Key&, const std::wstring&) override {
            return false;
        }
        void Close(const bool& flush) override { Step(flush ? L"close flushed" : L"close"); }
        void Flush() override {}
        std::wstring ReadString(const std::wstring& name, const std::wstring& byDefault) override {
            return Read(name, byDefault);
        }
        std::uint32_t ReadDword(const std::wstring& name, const std::uint32_t& byDefault) override {
            const std::wstring text = Read(name, std::to_wstring(byDefault));
            return static_cast<std::uint32_t>(std::wcstoul(text.c_str(), nullptr, 0));
        }
        bool WriteString(const std::wstring&, const std::wstring&) override { return false; }
        bool WriteDword(const std::wstring&, const std::uint32_t&) override { return false; }
        bool DeleteSelf() override { return false; }
        bool DeleteValue(const wchar_t*) override { return false; }
        bool DeleteValue(const std::wstring&) override { return false; }

    private:
        static void Step(const std::wstring& step) {
            const bool raises = With([&] {
                Content().steps.push_back(step);
                return Content().raiseAt == static_cast<int>(Content().steps.size()) - 1;
            });
            if (raises) {
                KrCommon::Exception::Raise<KrCommon::Storage::Exception>(
                    KrCommon::ErrorCode::kFileNotFound, 1U, "FakeLogStorage");
            }
        }

        static std::wstring Read(const std::wstring& name, const std::wstring& byDefault) {
            Step(name + L"=" + byDefault);
            return With([&] {
                const auto found = Content().values.find(name);
                return found != Content().values.end() ? found->second : byDefault;
            });
        }
    };
};

}  // namespace test_support
