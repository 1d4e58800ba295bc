#include "devhost/SearchRoot.h"

#include <algorithm>
#include <optional>

#include "devhost/ApiTypes.h"

namespace DevHost {

namespace {

bool IsLetter(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

// What stands behind "X:", with plain separators and none at its ends. Nothing for a text that
// does not begin with a drive.
std::optional<std::string> BehindDrive(const std::string& text) {
    if (text.empty())
        return std::string();
    if (!IsLetter(text[0]))
        return std::nullopt;
    if (text.size() == 1)
        return std::string();
    if (text[1] != ':')
        return std::nullopt;
    std::string rest = text.substr(2);
    std::replace(rest.begin(), rest.end(), '\\', '/');
    const std::size_t first = rest.find_first_not_of('/');
    if (first == std::string::npos)
        return std::string();
    return rest.substr(first, rest.find_last_not_of('/') - first + 1);
}

}  // namespace

FileSystem::Path SearchRoot::Map(const std::string& drive) const {
    if (IsEmpty()) {
        throw RequestError(KrCommon::Result::kBadPath,
                           "the host was started without --root and searches nothing");
    }
    const auto accept = [this](const FileSystem::Path& candidate) {
        std::optional<FileSystem::Path> real = FileSystem::Resolve(candidate);
        if (real.has_value() &&
            !(FileSystem::IsBelow(m_Root, *real, true) && FileSystem::IsFolder(*real))) {
            real.reset();
        }
        return real;
    };
    const std::optional<std::string> rest = BehindDrive(drive);
    if (rest.has_value() && rest->empty())
        return m_Root;
    if (const auto direct = accept(FileSystem::FromUtf8(drive)))
        return *direct;
    if (rest.has_value()) {
        if (const auto below = accept(m_Root / FileSystem::FromUtf8(*rest)))
            return *below;
    }
    throw RequestError(KrCommon::Result::kBadPath,
                       "\"filterParamDiskDrive\" is no folder at or below the host's --root");
}

}  // namespace DevHost
