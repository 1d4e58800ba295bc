#include "devhost/FileSystem.h"

namespace DevHost::FileSystem {

const char* RemoveOutcomeName(RemoveOutcome outcome) {
    switch (outcome) {
        case RemoveOutcome::kRemoved:
            return "removed";
        case RemoveOutcome::kMissing:
            return "missing";
        case RemoveOutcome::kNotAFile:
            return "not-a-file";
        case RemoveOutcome::kOutsideRoot:
            return "outside-root";
        case RemoveOutcome::kIndirect:
            return "link";
        case RemoveOutcome::kChanged:
            return "changed";
        case RemoveOutcome::kFailed:
            return "failed";
    }
    return "failed";
}

std::string ToUtf8(const Path& path) {
    return NameToUtf8(path.native());
}

}  // namespace DevHost::FileSystem
