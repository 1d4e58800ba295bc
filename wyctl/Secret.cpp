#include "wyctl/Secret.h"

#include <optional>

#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Wipe.h"
#include "wyctl/Errors.h"
#include "wyctl/FileBytes.h"

namespace WyCtl {

namespace {

std::string FirstLine(const std::string& file) {
    std::string text;
    if (file == "-") {
        text = ReadStandardInput();
    } else {
        std::vector<std::uint8_t> bytes = ReadFileBytes(file);
        const KrCommon::WipeAtEnd wipe(bytes.data(), bytes.size());
        text.assign(bytes.begin(), bytes.end());
    }
    const KrCommon::WipeAtEnd wipe(text.data(), text.size());
    std::string line = text.substr(0, text.find('\n'));
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

std::string Typed(Context& context, const std::string& prompt) {
    std::optional<std::string> line = context.Screen().ReadSecret(prompt);
    if (!line) {
        throw UsageError("there is no terminal to ask for the password; use --password-file");
    }
    return *std::move(line);
}

}  // namespace

Secret::~Secret() {
    KrCommon::Wipe(m_strText.data(), m_strText.size() * sizeof(wchar_t));
}

Secret ReadPassword(Context& context, const std::string& file, const std::string& prompt) {
    std::string line = file.empty() ? Typed(context, prompt) : FirstLine(file);
    const KrCommon::WipeAtEnd wipe(line.data(), line.size());
    if (line.find('\0') != std::string::npos) {
        throw Failure("the password holds a NUL, behind which the library would not see it");
    }
    return Secret(KrCommon::String::FromUtf8(line));
}

}  // namespace WyCtl
