#pragma once

// A text file that grows while it is read, and may be replaced by a new one of the same name.

#include <cstdint>
#include <string>

namespace WyCtl {

class FileTail {
public:
    // `path` is UTF-8. Raises Failure when the file cannot be opened.
    explicit FileTail(const std::string& path);
    FileTail(const FileTail&) = delete;
    FileTail& operator=(const FileTail&) = delete;
    ~FileTail();

    // What was written since the last call, at first the whole file. When the file was replaced,
    // the rest of the old one and then the new one from its beginning; when it was cut, the whole
    // of it. While there is no file of that name the old one is read on. Raises Failure when it
    // cannot be read.
    std::string ReadNew();

private:
    void* Open() const;
    void ReadRest(std::string& text);
    void FollowName(std::string& text);

    std::string m_strPath;
    void* m_hFile;
    std::uint64_t m_uiOffset = 0;
};

}  // namespace WyCtl
