// A JSON database with any content: loaded, and what it gave saved and loaded again.
//
// Input: one byte (bit 0: the rest is the text of an enciphered file, which the target enciphers,
// else the file as it is; bit 1: saved again in enciphered form), content.

#include <unistd.h>

#include <cstdio>
#include <string>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "FuzzInput.h"
#include "lib/wycommon/WyCommon_JsonDb.h"

namespace {

namespace JsonDb = WyCommon::JsonDb;
using KrCommon::Result::kSuccess;

// A file of this process that goes with it.
class ScratchFile {
public:
    ScratchFile() { std::snprintf(m_Path, sizeof(m_Path), "fuzz-jsondb-%d", getpid()); }
    ~ScratchFile() { std::remove(m_Path); }
    void Write(const std::string& content) const {
        std::FILE* const file = std::fopen(m_Path, "wb");
        fuzz::Require(file != nullptr, "the file cannot be written");
        std::fwrite(content.data(), 1, content.size(), file);
        std::fclose(file);
    }
    std::wstring Path() const { return KrCommon::String::FromUtf8(m_Path); }

private:
    char m_Path[64];
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::LogIntoNothing();
    static const ScratchFile s_File;
    const std::wstring path = s_File.Path();
    fuzz::Input input(data, size);
    const std::uint8_t form = input.Byte();
    const std::vector<std::uint8_t> rest = input.Rest();
    std::string content(rest.begin(), rest.end());
    const bool hasNul =
        content.find('\0') != std::string::npos || content.find("\\u0000") != std::string::npos;
    if ((form & 1) != 0 && !content.empty()) {
        std::string digits(JsonDb::kMagic);
        fuzz::Require(KrCommon::Cryptograph::EncryptStringA(digits, content), "not enciphered");
        content = digits;
    }
    s_File.Write(content);

    JsonDocument document;
    document[L"old"].SetUInt32(1);
    fuzz::Require(JsonDb::Load(path, document) == kSuccess, "a file that is there");
    const std::uint32_t status = document.Status();
    fuzz::Require(status == JsonDocument::kOk || status == JsonDocument::kBadArgument, "status");
    fuzz::Require(status == JsonDocument::kOk || document.isNull(), "bad text left a value");

    fuzz::Require(JsonDb::Save(path, document, (form & 2) != 0) == kSuccess, "not saved");
    JsonDocument again;
    fuzz::Require(JsonDb::Load(path, again) == kSuccess, "not loaded again");
    fuzz::Require(again.Status() == JsonDocument::kOk, "what was saved does not parse");
    // The text for people cuts a key at a NUL; of two keys that are the same then one stays.
    JsonDocument written;
    written.Parse(document.ToStyledString());
    fuzz::Require(again.ToStyledString() == written.ToStyledString(), "another text");
    fuzz::Require(hasNul || again.ToStyledString() == document.ToStyledString(),
                  "another document");
    return 0;
}
