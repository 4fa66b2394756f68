#include "basekit/srammanager.h"

#include <cerrno>
#include <cstring>
#include <iostream>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
void reportFailure(std::string const& what, std::string const& path, int error)
{
    std::cerr << "SRAMManager: " << what << " " << path << ": " << std::strerror(error) << std::endl;
}

// mkdir -p: creates every missing directory of path.
bool makeDirectories(std::string const& path)
{
    if (path.empty())
        return true;
    for (size_t pos = 1; pos <= path.size(); ++pos)
    {
        if (pos != path.size() && path[pos] != '/')
            continue;
        std::string const prefix = path.substr(0, pos);
        if (mkdir(prefix.c_str(), 0755) != 0 && errno != EEXIST)
        {
            reportFailure("cannot create directory", prefix, errno);
            return false;
        }
    }
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
    {
        reportFailure("not a directory:", path, ENOTDIR);
        return false;
    }
    return true;
}
} // namespace

unsigned int const SRAMManager::s_sectionCount;
unsigned int const SRAMManager::s_defaultSectionSize;

SRAMManager::SRAMManager() : m_directory("data/sram") {}

SRAMManager::~SRAMManager()
{
    for (Section& section : m_sections)
    {
        if (section.m_pBase != nullptr)
        {
            msync(section.m_pBase, section.m_size, MS_SYNC);
            munmap(section.m_pBase, section.m_size);
            section.m_pBase = nullptr;
        }
    }
}

void* SRAMManager::allocateSection(ESRAMSection section, unsigned int& size)
{
    size = 0;
    unsigned int const index = static_cast<unsigned int>(section);
    if (index >= s_sectionCount)
    {
        std::cerr << "SRAMManager: no section " << index << std::endl;
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    Section& entry = m_sections[index];
    if (entry.m_pBase != nullptr)
    {
        size = entry.m_size;
        return entry.m_pBase;
    }
    if (!makeDirectories(m_directory))
        return nullptr;
    std::string const path = (m_directory.empty() ? std::string() : m_directory + "/") + "section" +
                             std::to_string(index) + ".bin";
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
    {
        reportFailure("cannot open", path, errno);
        return nullptr;
    }
    struct stat info;
    if (fstat(fd, &info) != 0)
    {
        reportFailure("cannot inspect", path, errno);
        close(fd);
        return nullptr;
    }
    // ftruncate extends with zeros; a longer file is left as it is.
    if (info.st_size < static_cast<off_t>(entry.m_size) &&
        ftruncate(fd, static_cast<off_t>(entry.m_size)) != 0)
    {
        reportFailure("cannot size", path, errno);
        close(fd);
        return nullptr;
    }
    void* pBase = mmap(nullptr, entry.m_size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    int const mapError = errno;
    close(fd); // the mapping keeps the file
    if (pBase == MAP_FAILED)
    {
        reportFailure("cannot map", path, mapError);
        return nullptr;
    }
    entry.m_pBase = pBase;
    size = entry.m_size;
    return pBase;
}

void SRAMManager::setDirectory(std::string const& directory)
{
    std::lock_guard<std::mutex> lock(m_mutex);
    m_directory = directory;
}

std::string SRAMManager::getDirectory() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_directory;
}

bool SRAMManager::setSectionSize(ESRAMSection section, unsigned int bytes)
{
    unsigned int const index = static_cast<unsigned int>(section);
    if (index >= s_sectionCount)
    {
        std::cerr << "SRAMManager: no section " << index << std::endl;
        return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    if (bytes == 0 || m_sections[index].m_pBase != nullptr)
    {
        std::cerr << "SRAMManager: size of section " << index << " not changed to " << bytes
                  << (bytes == 0 ? " (a section cannot be empty)" : " (already mapped)") << std::endl;
        return false;
    }
    m_sections[index].m_size = bytes;
    return true;
}

unsigned int SRAMManager::getSectionSize(ESRAMSection section) const
{
    unsigned int const index = static_cast<unsigned int>(section);
    if (index >= s_sectionCount)
        return 0;
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_sections[index].m_size;
}

void SRAMManager::sync()
{
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Section& section : m_sections)
    {
        if (section.m_pBase != nullptr)
            msync(section.m_pBase, section.m_size, MS_SYNC);
    }
}
