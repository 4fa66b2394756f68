// libFuzzer target: the start-up check of the persistent variable store on random section images.
// The input describes the image: byte 0 flags (bit 0: take the 8-byte header from the input, else a
// valid one; bit 1: a section too small for the table), bytes 1-2 the heap size (8 + value % 4096),
// then the header, 16 slots of the table (192 bytes) and the heap; what the input lacks is zero.
// The image is a buffer of exactly its size, so any read beyond it is reported.

#include "fuzz_support.h"

#include "pdlpersistentvarmanager.h"

#include "rtk/log.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <vector>

namespace
{
std::ostringstream g_log;

int initialise()
{
    rtk::LogManager::createInstance();
    rtk::LogManager::setSink(&g_log);
    PDLPersistentVarManager::createInstance();
    return 0;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* pData, size_t size)
{
    static int const s_initialised = initialise();
    (void)s_initialised;
    if (size < 3)
    {
        return 0;
    }
    uint8_t const flags = pData[0];
    size_t const heap = 8 + ((pData[1] | (pData[2] << 8)) % 4096);
    size_t const sectionSize = (flags & 2) != 0 ? PDLPersistentVarManager::s_heapOffset + heap % 16 - 8
                                                : PDLPersistentVarManager::s_heapOffset + heap;
    std::vector<unsigned char> section(sectionSize, 0);
    size_t offset = 3;
    auto take = [&](size_t at, size_t length)
    {
        size_t const count = std::min(length, size > offset ? size - offset : 0);
        if (at + count <= section.size())
        {
            std::memcpy(&section[at], pData + offset, count);
        }
        offset += length;
    };
    if ((flags & 1) != 0)
    {
        take(0, 8);
    }
    else
    {
        uint32_t const header[2] = {PDLPersistentVarManager::s_magic, 5000};
        std::memcpy(section.data(), header, 8);
    }
    take(8, 192);
    take(PDLPersistentVarManager::s_heapOffset, heap);

    PDLPersistentVarManager* pStore = PDLPersistentVarManager::getInstance();
    pStore->useSection(section.data(), static_cast<unsigned int>(section.size()));
    g_log.str("");
    if (pStore->init(false))
    {
        // Reads of whatever the table holds stay inside the section.
        for (int slot = 0; slot < 16; ++slot)
        {
            pStore->getValue(slot);
            pStore->getVarName(slot);
        }
        pStore->findVarIndex(UniqueModuleID(0x2203), "a");
        std::string why;
        pStore->checkHeap(why, true);
    }
    pStore->useSection(nullptr, 0);
    return 0;
}
