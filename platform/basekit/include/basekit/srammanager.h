#ifndef BASEKIT_SRAMMANAGER_H
#define BASEKIT_SRAMMANAGER_H

#include <cstddef> // rtk/singleton.h uses NULL

#include "rtk/singleton.h"

#include <mutex>
#include <string>

// Non-volatile memory sections. Each section is a file "<directory>/section<N>.bin" mapped shared
// into memory, so what is written to it survives the process, even a killed one. The directory is
// "data/sram" below the working directory unless setDirectory says otherwise; every section is
// 1 MiB unless setSectionSize says otherwise.
// A missing file is created zero-filled at the configured size, with its directories. A file shorter
// than the configured size is extended with zeros; a longer one keeps its length and only the
// configured size of it is mapped.
class SRAMManager : public rtk::Singleton<SRAMManager>
{
    friend class rtk::Singleton<SRAMManager>;

public:
    enum ESRAMSection
    {
        eSRAMSection0 = 0,
        eSRAMSection1,
        eSRAMSection2,
        eSRAMSection3,
        eSRAMSection4,
        eSRAMSection5,
        eSRAMSection6,
        eSRAMSection7
    };

    static unsigned int const s_sectionCount = 8;
    static unsigned int const s_defaultSectionSize = 1048576;

    // Maps the section (once; later calls return the same address) and writes its size in bytes to
    // size. On failure: null, size 0, and a message on standard error.
    void* allocateSection(ESRAMSection section, unsigned int& size);

    // For sections mapped afterwards.
    void setDirectory(std::string const& directory);
    std::string getDirectory() const;

    // Only before the section's first allocateSection, and not 0; false (with a message) otherwise.
    bool setSectionSize(ESRAMSection section, unsigned int bytes);
    unsigned int getSectionSize(ESRAMSection section) const;

    // Writes every mapped section through to its file and waits for it.
    void sync();

private:
    SRAMManager();
    ~SRAMManager() override;

    struct Section
    {
        void* m_pBase = nullptr;
        unsigned int m_size = s_defaultSectionSize;
    };

    mutable std::mutex m_mutex;
    std::string m_directory;
    Section m_sections[s_sectionCount];
};

#endif
