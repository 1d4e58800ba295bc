#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "Common/KrCommon/KrComn_Windows.h"
#include "deploy/DeployCommon_Signer.h"

#include <wincrypt.h>

namespace WyDeployHelper::DeployCommon {

namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
constexpr std::size_t kNameLimit = 100;  // characters
constexpr std::wstring_view kMakerNames[] = {L"Korvex Data", L"KorvexData"};

struct StoreCloser {
    void operator()(void* store) const noexcept { CertCloseStore(store, 0); }
};
struct MessageCloser {
    void operator()(void* message) const noexcept { CryptMsgClose(message); }
};
struct CertificateCloser {
    void operator()(const CERT_CONTEXT* certificate) const noexcept {
        CertFreeCertificateContext(certificate);
    }
};
using Certificate = std::unique_ptr<const CERT_CONTEXT, CertificateCloser>;

// What the signature embedded in a file holds: its message and the certificates that came with it.
struct Signature {
    std::unique_ptr<void, StoreCloser> store;
    std::unique_ptr<void, MessageCloser> message;

    // Without a signature both are null.
    explicit Signature(const std::wstring& path) {
        HCERTSTORE foundStore = nullptr;
        HCRYPTMSG foundMessage = nullptr;
        if (CryptQueryObject(CERT_QUERY_OBJECT_FILE, path.c_str(),
                             CERT_QUERY_CONTENT_FLAG_PKCS7_SIGNED_EMBED,
                             CERT_QUERY_FORMAT_FLAG_BINARY, 0, nullptr, nullptr, nullptr,
                             &foundStore, &foundMessage, nullptr) == 0)
            return;
        store.reset(foundStore);
        message.reset(foundMessage);
    }
};

// CMSG_SIGNER_INFO and what it points to; empty on failure.
std::vector<std::byte> SignerInfo(HCRYPTMSG message) {
    DWORD size = 0;
    if (CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, nullptr, &size) == 0)
        return {};
    std::vector<std::byte> info(size);
    if (size < sizeof(CMSG_SIGNER_INFO) ||
        CryptMsgGetParam(message, CMSG_SIGNER_INFO_PARAM, 0, info.data(), &size) == 0)
        return {};
    return info;
}

Certificate FindSigner(const Signature& signature) {
    if (signature.store == nullptr || signature.message == nullptr)
        return nullptr;
    std::vector<std::byte> bytes = SignerInfo(signature.message.get());
    if (bytes.empty())
        return nullptr;
    const auto* info = reinterpret_cast<const CMSG_SIGNER_INFO*>(bytes.data());
    CERT_INFO wanted = {};
    wanted.Issuer = info->Issuer;
    wanted.SerialNumber = info->SerialNumber;
    return Certificate(CertFindCertificateInStore(signature.store.get(), kEncoding, 0,
                                                  CERT_FIND_SUBJECT_CERT, &wanted, nullptr));
}

// Empty on failure.
std::wstring DisplayName(const CERT_CONTEXT& certificate) {
    wchar_t name[kNameLimit + 1] = {};
    CertGetNameStringW(&certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name,
                       static_cast<DWORD>(kNameLimit + 1));
    return name;
}

}  // namespace

bool IsMakerSignedFile(const std::wstring& path) noexcept try {
    const Signature signature(path);
    const Certificate signer = FindSigner(signature);
    if (signer == nullptr)
        return false;
    const std::wstring name = DisplayName(*signer);
    for (const std::wstring_view maker : kMakerNames) {
        if (name.find(maker) != std::wstring::npos)
            return true;
    }
    return false;
} catch (...) {
    return false;
}

}  // namespace WyDeployHelper::DeployCommon
