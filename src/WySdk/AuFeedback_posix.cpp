// The native build runs test programs only: its records tell nothing of the machine.

#include "WySdk/AuFeedback.h"

std::wstring AuFeedback::Platform::OsName() {
    return {};
}

std::uint32_t AuFeedback::Platform::Locale() {
    return 0;
}

std::wstring AuFeedback::Platform::ComputerName() {
    return {};
}
