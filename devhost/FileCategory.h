#pragma once

// Kinds of files by extension, as the "category" of a search names them.

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace DevHost {

enum class FileCategory { kVideo, kAudio, kImage, kDocument, kArchive, kProgram, kOther };

constexpr std::array<FileCategory, 7> kFileCategories = {
    FileCategory::kVideo,   FileCategory::kAudio,   FileCategory::kImage, FileCategory::kDocument,
    FileCategory::kArchive, FileCategory::kProgram, FileCategory::kOther};

// "video", "audio", "image", "document", "archive", "program", "other".
const char* FileCategoryName(FileCategory category);

// The category of a file name, by its extension and without regard to case.
FileCategory CategoryOfName(std::string_view name);

// A search's filter: nothing means every category.
struct CategoryFilter {
    std::optional<FileCategory> only;

    bool Takes(std::string_view name) const {
        return !only.has_value() || CategoryOfName(name) == *only;
    }
};

// Reads the filter of a request: "", "*" and "all" are every category, else one of the names
// above, without regard to case. Nothing for any other text.
std::optional<CategoryFilter> ParseCategoryFilter(const std::string& text);

}  // namespace DevHost
