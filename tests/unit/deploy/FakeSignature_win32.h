#pragma once

// A file's signature by script.

#include <map>
#include <string>
#include <vector>

#include "support/IatPatch.h"

#include <wincrypt.h>

namespace deploy_test {

// Stands in for what the test program imports of the signatures of files, as long as it lives. One
// at a time.
class FakeSignature {
public:
    // The display name of the signer.
    std::wstring signer = L"Korvex Data Ltd.";
    // The function that fails; of CryptMsgGetParam the first ("CryptMsgGetParam") or the second
    // call ("CryptMsgGetParam 2").
    std::string failure;
    // The paths that were asked for.
    std::vector<std::wstring> paths;
    // What was given out and not closed yet.
    int open = 0;

    FakeSignature() { s_pCurrent = this; }
    FakeSignature(const FakeSignature&) = delete;
    FakeSignature& operator=(const FakeSignature&) = delete;
    ~FakeSignature() { s_pCurrent = nullptr; }

private:
    bool Fails(const char* function) {
        if (failure != function)
            return false;
        SetLastError(static_cast<DWORD>(CRYPT_E_NO_MATCH));
        return true;
    }

    static BOOL WINAPI Query(DWORD type, const void* object, DWORD contents, DWORD formats, DWORD,
                             DWORD*, DWORD*, DWORD*, HCERTSTORE* store, HCRYPTMSG* message,
                             const void**) {
        FakeSignature& self = *s_pCurrent;
        self.paths.emplace_back(static_cast<const wchar_t*>(object));
        if (self.Fails("CryptQueryObject") || type != CERT_QUERY_OBJECT_FILE ||
            contents != CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED ||
            formats != CERT_QUERY_FORMAT_FLAG_BINARY)
            return FALSE;
        self.open += 2;
        *store = &self;
        *message = &self;
        return TRUE;
    }

    static BOOL WINAPI Param(HCRYPTMSG, DWORD type, DWORD, void* data, DWORD* size) {
        FakeSignature& self = *s_pCurrent;
        if (self.Fails(data == nullptr ? "CryptMsgGetParam" : "CryptMsgGetParam 2") ||
            type != CMSG_SIGNER_INFO_PARAM)
            return FALSE;
        if (data != nullptr)
            *static_cast<CMSG_SIGNER_INFO*>(data) = {};
        *size = self.failure == "short information" ? 4 : sizeof(CMSG_SIGNER_INFO);
        return TRUE;
    }

    static PCCERT_CONTEXT WINAPI Find(HCERTSTORE, DWORD encoding, DWORD, DWORD by, const void*,
                                      PCCERT_CONTEXT) {
        FakeSignature& self = *s_pCurrent;
        if (self.Fails("CertFindCertificateInStore") || encoding != 0x10001 ||
            by != CERT_FIND_SUBJECT_CERT)
            return nullptr;
        ++self.open;
        return &self.m_Certificate;
    }

    static DWORD WINAPI Name(PCCERT_CONTEXT, DWORD type, DWORD flags, void*, LPWSTR name,
                             DWORD size) {
        FakeSignature& self = *s_pCurrent;
        name[0] = L'\0';
        if (self.Fails("CertGetNameStringW") || type != CERT_NAME_SIMPLE_DISPLAY_TYPE || flags != 0)
            return 1;
        const std::wstring cut = self.signer.substr(0, size - 1);
        std::copy(cut.begin(), cut.end(), name);
        name[cut.size()] = L'\0';
        return static_cast<DWORD>(cut.size()) + 1;
    }

    static BOOL WINAPI CloseStore(HCERTSTORE, DWORD) { return s_pCurrent->Close(); }
    static BOOL WINAPI CloseMessage(HCRYPTMSG) { return s_pCurrent->Close(); }
    static BOOL WINAPI FreeCertificate(PCCERT_CONTEXT) { return s_pCurrent->Close(); }
    BOOL Close() {
        --open;
        return TRUE;
    }

    static inline FakeSignature* s_pCurrent = nullptr;

    CERT_CONTEXT m_Certificate = {};
    HMODULE m_hProgram = GetModuleHandleW(nullptr);
    test_support::IatPatch m_Query{m_hProgram, "crypt32.dll", "CryptQueryObject", Query};
    test_support::IatPatch m_Param{m_hProgram, "crypt32.dll", "CryptMsgGetParam", Param};
    test_support::IatPatch m_Find{m_hProgram, "crypt32.dll", "CertFindCertificateInStore", Find};
    test_support::IatPatch m_Name{m_hProgram, "crypt32.dll", "CertGetNameStringW", Name};
    test_support::IatPatch m_CloseStore{m_hProgram, "crypt32.dll", "CertCloseStore", CloseStore};
    test_support::IatPatch m_CloseMessage{m_hProgram, "crypt32.dll", "CryptMsgClose", CloseMessage};
    test_support::IatPatch m_Free{m_hProgram, "crypt32.dll", "CertFreeCertificateContext",
                                  FreeCertificate};
};

}  // namespace deploy_test
