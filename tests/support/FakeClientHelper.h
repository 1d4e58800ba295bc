#pragma once

// Stands in for the client helper: a program that links FakeClientHelper.cpp has its
// CKrRpcClientHelper here.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "lib/KrOuterClientHelper/OuterClientHelper.h"

namespace test_support {

// Records what is done with helpers, and scripts their answers, as long as it lives. One at a
// time, on one thread.
struct FakeClientHelper {
    FakeClientHelper();
    FakeClientHelper(const FakeClientHelper&) = delete;
    FakeClientHelper& operator=(const FakeClientHelper&) = delete;
    ~FakeClientHelper();

    // Each construction, destruction, registration and mail in short form, in their order.
    std::vector<std::string> calls;

    bool outOfMemory = false;  // constructing raises std::bad_alloc
    std::uint32_t registerResult = 0x20ff0000;
    std::uint32_t unregisterResult = 0x20ff0000;
    std::uint32_t mailResult = 0x20ff0000;
    std::wstring mailAnswer = L"{}";

    // Of the last registration; null when there is none.
    EventEntry eventEntry = nullptr;
    // The request of the last mail.
    std::wstring mailRequest;
    // Runs for each mail before it is answered, and may change the answer.
    std::function<void()> onMail;
};

}  // namespace test_support
