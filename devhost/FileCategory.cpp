#include "devhost/FileCategory.h"

#include <algorithm>
#include <utility>

namespace DevHost {

namespace {

constexpr std::pair<std::string_view, FileCategory> kExtensions[] = {
    {"3gp", FileCategory::kVideo},     {"7z", FileCategory::kArchive},
    {"aac", FileCategory::kAudio},     {"avi", FileCategory::kVideo},
    {"bat", FileCategory::kProgram},   {"bmp", FileCategory::kImage},
    {"bz2", FileCategory::kArchive},   {"cab", FileCategory::kArchive},
    {"cmd", FileCategory::kProgram},   {"csv", FileCategory::kDocument},
    {"dll", FileCategory::kProgram},   {"doc", FileCategory::kDocument},
    {"docx", FileCategory::kDocument}, {"exe", FileCategory::kProgram},
    {"flac", FileCategory::kAudio},    {"flv", FileCategory::kVideo},
    {"gif", FileCategory::kImage},     {"gz", FileCategory::kArchive},
    {"heic", FileCategory::kImage},    {"htm", FileCategory::kDocument},
    {"html", FileCategory::kDocument}, {"iso", FileCategory::kArchive},
    {"jpeg", FileCategory::kImage},    {"jpg", FileCategory::kImage},
    {"m4a", FileCategory::kAudio},     {"m4v", FileCategory::kVideo},
    {"mid", FileCategory::kAudio},     {"mkv", FileCategory::kVideo},
    {"mov", FileCategory::kVideo},     {"mp3", FileCategory::kAudio},
    {"mp4", FileCategory::kVideo},     {"mpeg", FileCategory::kVideo},
    {"mpg", FileCategory::kVideo},     {"msi", FileCategory::kProgram},
    {"odt", FileCategory::kDocument},  {"ogg", FileCategory::kAudio},
    {"pdf", FileCategory::kDocument},  {"png", FileCategory::kImage},
    {"ppt", FileCategory::kDocument},  {"pptx", FileCategory::kDocument},
    {"rar", FileCategory::kArchive},   {"rtf", FileCategory::kDocument},
    {"svg", FileCategory::kImage},     {"sys", FileCategory::kProgram},
    {"tar", FileCategory::kArchive},   {"tif", FileCategory::kImage},
    {"tiff", FileCategory::kImage},    {"txt", FileCategory::kDocument},
    {"wav", FileCategory::kAudio},     {"webm", FileCategory::kVideo},
    {"webp", FileCategory::kImage},    {"wma", FileCategory::kAudio},
    {"wmv", FileCategory::kVideo},     {"xls", FileCategory::kDocument},
    {"xlsx", FileCategory::kDocument}, {"xz", FileCategory::kArchive},
    {"zip", FileCategory::kArchive},
};

std::string LowerAscii(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                    : character;
    });
    return lower;
}

}  // namespace

const char* FileCategoryName(FileCategory category) {
    switch (category) {
        case FileCategory::kVideo:
            return "video";
        case FileCategory::kAudio:
            return "audio";
        case FileCategory::kImage:
            return "image";
        case FileCategory::kDocument:
            return "document";
        case FileCategory::kArchive:
            return "archive";
        case FileCategory::kProgram:
            return "program";
        case FileCategory::kOther:
            return "other";
    }
    return "other";
}

FileCategory CategoryOfName(std::string_view name) {
    const std::size_t dot = name.find_last_of('.');
    if (dot == std::string_view::npos)
        return FileCategory::kOther;
    const std::string extension = LowerAscii(name.substr(dot + 1));
    const auto* const found = std::lower_bound(
        std::begin(kExtensions), std::end(kExtensions), extension,
        [](const auto& entry, const std::string& text) { return entry.first < text; });
    if (found == std::end(kExtensions) || found->first != extension)
        return FileCategory::kOther;
    return found->second;
}

std::optional<CategoryFilter> ParseCategoryFilter(const std::string& text) {
    const std::string lower = LowerAscii(text);
    if (lower.empty() || lower == "*" || lower == "all")
        return CategoryFilter{};
    for (const FileCategory category : kFileCategories) {
        if (lower == FileCategoryName(category))
            return CategoryFilter{category};
    }
    return std::nullopt;
}

}  // namespace DevHost
