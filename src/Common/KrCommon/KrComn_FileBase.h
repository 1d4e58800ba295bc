#pragma once

// A file that is open for reading.
//
// The operations do not raise. They tell their outcome in `error`, a Win32 code; null pointers for
// `error` and `bytesRead` are allowed. An object belongs to one thread at a time.

#include <cstdint>

namespace KrCommon::Storage {

class FileBase {
public:
    FileBase() = default;
    FileBase(const FileBase&) = delete;
    FileBase& operator=(const FileBase&) = delete;
    // Closes the file.
    virtual ~FileBase();

    // Opens an existing file (CreateFileW): others may read it meanwhile, not write or delete it.
    // A null or empty path gives 160, an object that is open already 5010, a failure of the system
    // its code: 2 or 3 for a missing file or folder, 5 for a folder, 32 for a file that others have
    // open for writing.
    bool OpenForRead(const wchar_t* path, std::uint32_t* error);

    bool IsOpen() const { return m_hFile != kNoFile; }

    // Without an open file it does nothing.
    void Close();

    // Reads up to `length` bytes from where the last read ended (ReadFile). At the end of the file
    // that succeeds with 0 bytes. An object that is not open gives 6, a null buffer 160.
    bool Read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead, std::uint32_t* error);

    // Reads exactly `length` bytes into the buffer, which is zeroed first.
    //
    //     error  result  when
    //     -      false   no file is open; nothing at all is stored
    //     160    false   the buffer is null
    //     code   false   the system refused to read
    //     38     false   not one byte was read: the end of the file, or a length of 0
    //     13     false   fewer bytes were read, which stand in the buffer
    //     0      true    all were read
    bool ReadExact(void* buffer, std::uint32_t length, std::uint32_t* bytesRead,
                   std::uint32_t* error);

private:
    static constexpr std::intptr_t kNoFile = -1;

    // Calls of the system, with their codes: opens the file of a path that is not empty, and reads
    // what comes at once.
    std::uint32_t OpenPath(const wchar_t* path);
    std::uint32_t ReadBlock(void* buffer, std::uint32_t length, std::uint32_t& bytesRead);

    std::intptr_t m_hFile = kNoFile;
};

}  // namespace KrCommon::Storage
