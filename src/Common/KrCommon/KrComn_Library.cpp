#include "Common/KrCommon/KrComn_Library.h"

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_LibraryPlatform.h"

namespace KrCommon::Library {

namespace {

bool Give(std::uint32_t* error, std::uint32_t code) {
    if (error != nullptr)
        *error = code;
    return code == ErrorCode::kSuccess;
}

}  // namespace

Base::~Base() {
    if (m_pModule != nullptr)
        Platform::UnloadModule(m_pModule);
}

bool Base::Load(const wchar_t* name, std::uint32_t, std::uint32_t* error) {
    if (name == nullptr)
        return Give(error, ErrorCode::kBadArguments);
    if (m_pModule != nullptr)
        return Give(error, ErrorCode::kObjectAlreadyExists);
    std::uint32_t code = ErrorCode::kSuccess;
    m_pModule = Platform::LoadModule(name, code);
    return Give(error, code);
}

bool Base::Unload(std::uint32_t* error) {
    if (m_pModule == nullptr)
        return Give(error, ErrorCode::kInvalidHandle);
    const std::uint32_t code = Platform::UnloadModule(m_pModule);
    if (code == ErrorCode::kSuccess)
        m_pModule = nullptr;
    return Give(error, code);
}

void* Base::FindFunction(const char* name, std::uint32_t* error) const {
    std::uint32_t code = ErrorCode::kSuccess;
    void* function = nullptr;
    if (m_pModule == nullptr) {
        code = ErrorCode::kInvalidHandle;
    } else if (name == nullptr) {
        code = ErrorCode::kBadArguments;
    } else {
        function = Platform::FindFunction(m_pModule, name, code);
    }
    Give(error, code);
    return function;
}

Wrapper::~Wrapper() {
    if (m_bBound)
        Unload(nullptr);
}

bool Wrapper::BindAll(const Entry* entries, std::size_t count, std::uint32_t* error) {
    std::uint32_t lastFailure = ErrorCode::kSuccess;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t code = ErrorCode::kSuccess;
        *entries[i].function = FindFunction(entries[i].name, &code);
        if (code != ErrorCode::kSuccess)
            lastFailure = code;
    }
    m_bBound = lastFailure == ErrorCode::kSuccess;
    return Give(error, lastFailure);
}

bool Wrapper::UnbindAll(const Entry* entries, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        *entries[i].function = nullptr;
    }
    m_bBound = false;
    return true;
}

}  // namespace KrCommon::Library
