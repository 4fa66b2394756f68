#include "rtk/file.h"

#include <sys/stat.h>
#include <unistd.h>

namespace rtk
{
File::~File()
{
    close();
}

bool File::open(Path const& path, unsigned int mode)
{
    close();
    char const* pMode = nullptr;
    if (mode == eModeRead)
        pMode = "rb";
    else if (mode == eModeWriteReplace)
        pMode = "wb";
    if (pMode == nullptr || path.isEmpty())
        return false;
    m_pFile = std::fopen(path.c_str(), pMode);
    m_writing = (mode == eModeWriteReplace);
    return m_pFile != nullptr;
}

long File::read(void* pBuffer, size_t size)
{
    if (m_pFile == nullptr || m_writing || pBuffer == nullptr)
        return -1;
    size_t const count = std::fread(pBuffer, 1, size, m_pFile);
    if (count < size && std::ferror(m_pFile))
        return -1;
    return static_cast<long>(count);
}

bool File::write(std::string const& text)
{
    return write(text.data(), text.size());
}

bool File::write(void const* pData, size_t size)
{
    if (m_pFile == nullptr || !m_writing)
        return false;
    if (size == 0)
        return true;
    return pData != nullptr && std::fwrite(pData, 1, size, m_pFile) == size;
}

void File::close()
{
    if (m_pFile != nullptr)
    {
        std::fclose(m_pFile);
        m_pFile = nullptr;
    }
    m_writing = false;
}

bool File::existingFile(Path const& path)
{
    struct stat info;
    return !path.isEmpty() && ::stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool File::remove(Path const& path)
{
    return !path.isEmpty() && ::unlink(path.c_str()) == 0;
}
} // namespace rtk
