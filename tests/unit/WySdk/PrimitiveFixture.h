#pragma once

// What the tests of the marshalling engine share: a table made of rows, a scripted service and a
// recorded log.

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "WySdk/SdkPrimitive.h"
#include "support/FakeMail.h"
#include "support/LogRecorder.h"

namespace test_support {

constexpr std::uint32_t kSuccess = 0x20ff0000;
constexpr std::uint32_t kInvalid = 0xe0ff0007;
constexpr std::uint32_t kIn = 1;
constexpr std::uint32_t kOut = 2;
constexpr std::uint32_t kInfo = 1;
constexpr std::uint32_t kError = 256;
constexpr ApiDefinition kSentinel{L"", 420000000, 1, 0, L""};

// A function "F" with the rows given.
inline std::vector<ApiDefinition> TableOf(std::vector<ApiDefinition> rows) {
    rows.push_back(kSentinel);
    return rows;
}

inline ApiDefinition Row(std::uint32_t direction, std::uint32_t type, std::wstring_view key) {
    return {L"F", 4711, direction, type, key};
}

// One run over a table made of rows, with a scripted service and a recorded log.
class PrimitiveFixture : public testing::Test {
protected:
    std::uint32_t Call(std::vector<ApiDefinition> rows, std::vector<std::uint64_t> slots) {
        const auto count = static_cast<std::int32_t>(rows.size());
        const std::vector<ApiDefinition> table = TableOf(std::move(rows));
        return WySdkPrimitive(table.data(), L"F", count, slots);
    }

    // The request of the one mail that was sent.
    std::wstring Request() const {
        const std::vector<FakeMail::Mail> mails = mail.Mails();
        return mails.size() == 1 ? mails[0].request
                                 : L"(" + std::to_wstring(mails.size()) + L" mails)";
    }

    void ExpectErrors(const std::vector<std::wstring>& texts) const {
        std::vector<std::wstring> errors;
        for (const LogRecorder::Line& line : log.Lines()) {
            if (line.level == kError)
                errors.push_back(line.text);
        }
        EXPECT_EQ(errors, texts);
    }

    FakeMail mail;
    LogRecorder log;
};

}  // namespace test_support
