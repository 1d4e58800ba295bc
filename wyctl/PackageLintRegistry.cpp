#include <algorithm>
#include <limits>

#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/PackageLintRules.h"

namespace WyCtl::Lint {

namespace {

constexpr std::size_t kLongestKeyPart = 255;
constexpr std::size_t kLongestValueName = 16383;
// Of the data, with its NUL.
constexpr std::size_t kLongestData = 1U << 20U;
constexpr std::size_t kAdvisedData = 2048;
constexpr char kMakerKey[] = "SOFTWARE\\KORVEXDATA";

// In the units of the system, UTF-16: two for what takes four bytes here.
std::size_t UnitsOf(std::string_view text) {
    constexpr unsigned char kFirstOfFour = 0xf0;
    std::size_t units = 0;
    for (const char letter : text) {
        const auto byte = static_cast<unsigned char>(letter);
        const bool goesOn = (byte & 0xc0U) == 0x80U;
        units += goesOn ? 0 : 1;
        units += byte >= kFirstOfFour ? 1 : 0;
    }
    return units;
}

void CheckKeyForm(const Context& context, const Item& item, const std::string& key) {
    if (key.front() == '\\') {
        context.Error("bad-key", item, "a key that begins with \\ is refused by the system",
                      "name the key from below its root");
    }
    const std::vector<std::string_view> parts = Parts(key);
    if (!parts.empty() && (parts[0].starts_with("HKEY_") || IsOneOf(parts[0], {"HKLM", "HKCU"}))) {
        context.Warn("bad-key", item,
                     Quoted(parts[0]) + " is a key like any other here, below the root",
                     "remove it; Root names the root");
    }
    if (std::find(parts.begin(), parts.end(), "..") != parts.end()) {
        context.Warn("bad-key", item, "'..' is a name like any other in the registry",
                     "name the key from below its root");
    }
    const bool tooLong = std::any_of(parts.begin(), parts.end(), [](std::string_view part) {
        return UnitsOf(part) > kLongestKeyPart;
    });
    if (tooLong) {
        context.Error("oversized", item,
                      "a name in the key is longer than 255 characters, which the system refuses",
                      "shorten it");
    }
}

// What WyUninstall deletes is the key of the product, with all below it.
void CheckPartner(const Context& context, const Item& item, const std::string& key) {
    const std::string folded = TargetKey(key, {});
    const std::string product =
        TargetKey(kMakerKey, KrCommon::String::ToUtf8(context.input.productId));
    if (folded == product || folded.starts_with(product + "\\")) {
        return;
    }
    context.Warn("no-uninstall", item,
                 Quoted(item.Text("Root") + "\\" + key) +
                     " stays behind: WyUninstall removes the "
                     "key of the product alone, SOFTWARE\\KorvexData\\" +
                     KrCommon::String::ToUtf8(context.input.productId),
                 "keep it below that key, or remove it in the setup program");
}

void CheckNumber(const Context& context, const Item& item) {
    const std::string& text = item.Text("Value");
    const bool negative = text.starts_with('-');
    std::uint64_t number = 0;
    bool isNumber = text.size() > (negative ? 1U : 0U);
    for (const char digit : std::string_view(text).substr(negative ? 1 : 0)) {
        isNumber = isNumber && digit >= '0' && digit <= '9';
        number = std::min<std::uint64_t>(number * 10 + static_cast<std::uint64_t>(digit & 0xf),
                                         std::uint64_t{1} << 40U);
    }
    if (!isNumber) {
        context.Error("bad-number", item,
                      Quoted(text) +
                          " is no decimal number: what is written is the number at its "
                          "beginning, or 0",
                      "write the number in decimal digits");
    } else if (number > std::numeric_limits<std::uint32_t>::max()) {
        context.Error("bad-number", item,
                      Quoted(text) + " is more than 32 bits hold: 4294967295 is written",
                      "write a smaller number");
    } else if (negative) {
        context.Warn("bad-number", item, Quoted(text) + " is written without its sign, modulo 2^32",
                     "write the number that is to be stored");
    }
}

void CheckText(const Context& context, const Item& item) {
    const std::size_t bytes = 2 * (UnitsOf(item.Text("Value")) + 1);
    if (bytes > kLongestData) {
        context.Error("oversized", item,
                      "the text takes " + std::to_string(bytes) +
                          " bytes, and systems differ in what they take beyond 1 MiB",
                      "put it into a file");
    } else if (bytes > kAdvisedData) {
        context.Warn("oversized", item,
                     "the text takes " + std::to_string(bytes) +
                         " bytes; values are advised to stay below 2048",
                     "put it into a file");
    }
}

}  // namespace

void CheckRegistry(const Context& context, const Item& item) {
    if (!item.Writes() && !item.Deletes()) {
        return;
    }
    const std::string& key = item.Text("Key");
    if (key.empty()) {
        context.Error("empty-name", item, "no Key: the root itself is meant by that",
                      "name the key");
        return;
    }
    CheckKeyForm(context, item, key);
    if (item.kind == ItemKind::RegistryKey && item.Deletes()) {
        const std::size_t parts = Parts(key).size();
        constexpr std::size_t kOwnDepth = 3;  // SOFTWARE, maker, product
        if (parts < kOwnDepth) {
            context.Add(parts < 2 ? Severity::Error : Severity::Warning, "wide-delete", item.node,
                        Quoted(key) + " is deleted with all below it, that of others too",
                        "name a key of the product");
        }
    }
    if (item.Writes()) {
        CheckPartner(context, item, key);
    }
    if (item.kind != ItemKind::RegistryValue) {
        return;
    }
    if (UnitsOf(item.Text("Name")) > kLongestValueName) {
        context.Error("oversized", item,
                      "the name of the value is longer than 16383 characters, which the system "
                      "refuses",
                      "shorten it");
    }
    if (item.Writes() && item.Is("Type", "dword")) {
        CheckNumber(context, item);
    } else if (item.Writes()) {
        CheckText(context, item);
    }
}

}  // namespace WyCtl::Lint
