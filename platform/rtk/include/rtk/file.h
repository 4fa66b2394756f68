#ifndef RTK_FILE_H
#define RTK_FILE_H

#include "rtk/path.h"

#include <cstddef>
#include <cstdio>
#include <string>

namespace rtk
{
// A file opened for reading or for replacing its whole content. Failures are reported by the
// results only: nothing throws and nothing is printed.
class File
{
public:
    enum EOpenMode
    {
        eModeRead = 3,         // read from the start of an existing file
        eModeWriteReplace = 11 // write; an existing file is emptied first, a missing one is created
    };

    File() {}
    ~File();

    // Any mode other than the two above fails. An open file is closed first.
    bool open(Path const& path, unsigned int mode);
    bool isOpen() const { return m_pFile != nullptr; }
    // Bytes read (0 at the end of the file), -1 when the file is not open for reading or fails.
    long read(void* pBuffer, size_t size);
    bool write(std::string const& text);
    bool write(void const* pData, size_t size);
    void close();

    // True when something that is not a directory exists under exactly this name.
    static bool existingFile(Path const& path);
    static bool exist(Path const& path) { return existingFile(path); }
    static bool remove(Path const& path);

private:
    File(File const&) = delete;
    File& operator=(File const&) = delete;

    FILE* m_pFile = nullptr;
    bool m_writing = false;
};
} // namespace rtk

#endif
