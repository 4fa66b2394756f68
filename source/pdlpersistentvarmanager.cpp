#include "pdlpersistentvarmanager.h"

#include "pdlbaseclasses.h"

#include "rtk/assert.h"
#include "rtk/cmd.h"
#include "rtk/log.h"

#include <basekit/srammanager.h>
#include <logkit/logging.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <sstream>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

// Write order and crash safety
// ----------------------------
// A process may die between any two stores into the section. Every operation therefore has one
// commit store into the variable table (the slot's type, or its value field together with its type,
// or a name handle), and the heap around it is written so that the state before and the state after
// that store both pass the start-up check:
// - A new block is prepared inside a free block (text, its footer, the header and footer of the free
//   rest) while the free block's header still spans it all. After the commit names it, one header
//   store splits it off and marks it allocated.
// - A block that the commit stops naming is marked free (header, then footer) before the commit, and
//   merged with its free neighbours only after it.
// - The check then completes what an interrupted operation leaves: a block that a slot names but
//   whose header says free is marked allocated again, and every footer is set from its header.
// Where a new text would overwrite the old one in place, the old text is first moved aside.

namespace
{
uint32_t const kSizeMask = 0x7FFFFFFF;

Orvane::Utilities::Logging::LogCategory& startupLog()
{
    static Orvane::Utilities::Logging::LogCategory s_log("Startup");
    return s_log;
}

void reportFatal(char const* pText, int line)
{
    PDLRunTimeInfo::report(rtk::LogOutput::eLevelFatal, pText, __FILE__, line);
}

uint32_t load32(unsigned char const* p)
{
    uint32_t value;
    std::memcpy(&value, p, 4);
    return value;
}

char const s_invalidText[] = "(invalid)";
} // namespace

PDLPersistentVarManager::StoreHook PDLPersistentVarManager::s_storeHook = nullptr;
void* PDLPersistentVarManager::s_pStoreHookContext = nullptr;

PDLPersistentVarManager::PDLPersistentVarManager()
    : rtk::Thread("PDLPersistentVarManager"), m_pSRAMHeader(nullptr), m_pVartable(nullptr), m_pHeap(nullptr),
      m_running(false), m_lastUsedSlot(-1), m_firstFreeSlot(-1), m_sectionSize(0), m_pBase(nullptr),
      m_pGivenSection(nullptr), m_givenSize(0), m_ownsSRAMManager(false)
{
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    pCmd->registerCmd("pvmShow", "pvmShow\n\tShow content and status of the Persistent Variable Manager", this,
                      &PDLPersistentVarManager::cmdShow);
    pCmd->registerCmd("pvmTest",
                      "pvmTest [iterations]\n\tstress test Persistent Variable Manager; iterations defaults to 1000",
                      this, &PDLPersistentVarManager::cmdTest);
    pCmd->registerCmd("pvmReset", "pvmReset\n\treinitialize persistent variable storage section in SRAM", this,
                      &PDLPersistentVarManager::cmdReset);
    pCmd->registerCmd("pvmCompact", "pvmCompact\n\tcompact memory in persistent variable storage section in SRAM",
                      this, &PDLPersistentVarManager::cmdCompact);
}

PDLPersistentVarManager::~PDLPersistentVarManager()
{
    // The compaction thread goes first: it uses everything below.
    shutdown(-1);
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    if (m_ownsSRAMManager && SRAMManager::hasInstance())
    {
        SRAMManager::destroyInstance();
    }
}

// ---------------------------------------------------------------------------------------------------
// Section access

void PDLPersistentVarManager::setStoreHook(StoreHook hook, void* pContext)
{
    s_storeHook = hook;
    s_pStoreHookContext = pContext;
}

void PDLPersistentVarManager::afterStore()
{
    // The compiler keeps section stores in program order; a killed process leaves exactly those done.
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (s_storeHook != nullptr)
    {
        s_storeHook(s_pStoreHookContext);
    }
}

void PDLPersistentVarManager::useSection(void* pBase, unsigned int size)
{
    m_pGivenSection = pBase;
    m_givenSize = size;
}

uint64_t PDLPersistentVarManager::heapSize() const
{
    return m_sectionSize > s_heapOffset ? m_sectionSize - s_heapOffset : 0;
}

void PDLPersistentVarManager::assertValidHeapAddress(void const* p)
{
    uintptr_t const address = reinterpret_cast<uintptr_t>(p);
    uintptr_t const heap = reinterpret_cast<uintptr_t>(m_pHeap);
    uintptr_t const end = reinterpret_cast<uintptr_t>(m_pBase) + m_sectionSize;
    // The whole 32-bit word must lie inside, or a read at the last bytes would leave the section.
    if (m_pHeap == nullptr || address < heap || address >= end || end - address < 4)
    {
        startupLog().fatal() << "NVRAM / persistent variable storage corrupted! Exiting." << std::endl;
        rtk::assertFailed("valid heap address", __FILE__, __LINE__);
    }
}

uint32_t PDLPersistentVarManager::readHeap(uint64_t offset)
{
    // An offset beyond the heap is checked before any pointer is formed from it.
    assertValidHeapAddress(offset < heapSize() ? m_pHeap + offset : nullptr);
    return load32(m_pHeap + offset);
}

void PDLPersistentVarManager::writeHeap(uint64_t offset, uint32_t value)
{
    assertValidHeapAddress(offset < heapSize() ? m_pHeap + offset : nullptr);
    std::memcpy(m_pHeap + offset, &value, 4);
    afterStore();
}

void PDLPersistentVarManager::copyToHeap(uint64_t offset, void const* pData, size_t length)
{
    if (length == 0)
    {
        return;
    }
    if (offset + length > heapSize())
    {
        assertValidHeapAddress(nullptr);
    }
    std::memmove(m_pHeap + offset, pData, length);
    afterStore();
}

unsigned char* PDLPersistentVarManager::slotAddress(int slot) const
{
    return m_pVartable + static_cast<size_t>(slot) * s_slotSize;
}

uint8_t PDLPersistentVarManager::slotType(int slot) const
{
    return slotAddress(slot)[0];
}

uint16_t PDLPersistentVarManager::slotModule(int slot) const
{
    uint16_t value;
    std::memcpy(&value, slotAddress(slot) + 2, 2);
    return value;
}

uint32_t PDLPersistentVarManager::slotName(int slot) const
{
    return load32(slotAddress(slot) + 4);
}

uint32_t PDLPersistentVarManager::slotWord(int slot) const
{
    return load32(slotAddress(slot) + 8);
}

void PDLPersistentVarManager::storeSlotByte(int slot, unsigned int offset, uint8_t value)
{
    slotAddress(slot)[offset] = value;
    afterStore();
}

void PDLPersistentVarManager::storeSlotHalf(int slot, unsigned int offset, uint16_t value)
{
    std::memcpy(slotAddress(slot) + offset, &value, 2);
    afterStore();
}

void PDLPersistentVarManager::storeSlotWord(int slot, unsigned int offset, uint32_t value)
{
    std::memcpy(slotAddress(slot) + offset, &value, 4);
    afterStore();
}

// Type and value lie 8 bytes apart: one 16-byte store from the slot's start writes both, so a value
// never appears under the kind of the one before. The bytes it covers beyond the slot (the next
// slot's first word, or for the last slot the first heap header) are written back as they were.
void PDLPersistentVarManager::commitSlot(int slot, uint8_t type, uint32_t value, bool lowByteOnly)
{
    unsigned char* p = slotAddress(slot);
    unsigned char image[16];
    std::memcpy(image, p, 16);
    image[0] = type;
    if (lowByteOnly)
    {
        image[8] = static_cast<unsigned char>(value);
    }
    else
    {
        std::memcpy(image + 8, &value, 4);
    }
#if defined(__SSE2__)
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_loadu_si128(reinterpret_cast<__m128i const*>(image)));
#elif defined(__aarch64__)
    vst1q_u8(p, vld1q_u8(image));
#else
    // Without one 16-byte store a kill between the two halves shows the new value under the old kind.
    std::memcpy(p + 8, image + 8, 8);
    std::memcpy(p, image, 8);
#endif
    afterStore();
}

char const* PDLPersistentVarManager::getString(uint32_t handle)
{
    if (m_pHeap == nullptr)
    {
        reportFatal("m_pHeap", __LINE__);
        return s_invalidText;
    }
    if (handle == s_noHandle || static_cast<uint64_t>(handle) + 4 >= heapSize())
    {
        return s_invalidText;
    }
    return reinterpret_cast<char const*>(m_pHeap + handle + 4);
}

namespace
{
// The text of a block, never read past the end of the section.
std::string boundedText(char const* p, unsigned char const* pEnd)
{
    if (reinterpret_cast<unsigned char const*>(p) >= pEnd)
    {
        return std::string(p);
    }
    size_t const room = static_cast<size_t>(pEnd - reinterpret_cast<unsigned char const*>(p));
    return std::string(p, strnlen(p, room));
}

// Whether the text at p begins with (or, unless prefixOnly, equals) text, never reading past pEnd.
bool textMatches(char const* p, unsigned char const* pEnd, std::string const& text, bool prefixOnly)
{
    if (reinterpret_cast<unsigned char const*>(p) >= pEnd)
    {
        // The constant text of a handle that leads nowhere.
        return prefixOnly ? std::strncmp(p, text.c_str(), text.size()) == 0 : text == p;
    }
    size_t const needed = text.size() + (prefixOnly ? 0 : 1);
    if (static_cast<size_t>(pEnd - reinterpret_cast<unsigned char const*>(p)) < needed)
    {
        return false;
    }
    return std::memcmp(p, text.c_str(), needed) == 0;
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// Start-up

void PDLPersistentVarManager::makeFresh()
{
    std::memset(m_pBase, 0, m_sectionSize);
    afterStore();
    uint32_t const words[2] = {s_magic, static_cast<uint32_t>(s_slotCount)};
    std::memcpy(m_pSRAMHeader, &words[0], 4);
    afterStore();
    std::memcpy(m_pSRAMHeader + 4, &words[1], 4);
    afterStore();
    uint32_t const size = m_sectionSize - s_heapOffset - 8;
    std::memcpy(m_pHeap, &size, 4);
    afterStore();
    std::memcpy(m_pBase + m_sectionSize - 4, &size, 4);
    afterStore();
}

bool PDLPersistentVarManager::init(bool force)
{
    m_mutex.take();
    m_lastUsedSlot = -1;
    m_firstFreeSlot = -1;
    m_sectionSize = 0;
    m_freeBlocks.clear();
    startupLog().info() << "Initializing persistent variable storage" << std::endl;

    unsigned int size = 0;
    void* pSection = nullptr;
    if (m_pGivenSection != nullptr)
    {
        pSection = m_pGivenSection;
        size = m_givenSize;
    }
    else
    {
        if (!SRAMManager::hasInstance())
        {
            // A host that does not configure the service gets it below the working directory.
            SRAMManager::createInstance();
            m_ownsSRAMManager = true;
        }
        pSection = SRAMManager::getInstance()->allocateSection(SRAMManager::eSRAMSection2, size);
    }
    m_pBase = nullptr;
    m_pSRAMHeader = m_pVartable = m_pHeap = nullptr;
    if (pSection == nullptr)
    {
        reportFatal("sramSection", __LINE__);
        m_mutex.give();
        return false;
    }
    if (size < s_heapOffset + 8)
    {
        // Not even the table and one empty block fit: nothing can be kept, and nothing is written.
        startupLog().error() << "SRAM section for persistent variables is too small (" << size
                             << " bytes, at least " << (s_heapOffset + 8) << " needed)" << std::endl;
        m_mutex.give();
        return false;
    }
    m_sectionSize = size;
    m_pBase = static_cast<unsigned char*>(pSection);
    m_pSRAMHeader = m_pBase;
    m_pVartable = m_pBase + s_tableOffset;
    m_pHeap = m_pBase + s_heapOffset;

    if (force || load32(m_pSRAMHeader) != s_magic || load32(m_pSRAMHeader + 4) != static_cast<uint32_t>(s_slotCount))
    {
        if (!force)
        {
            startupLog().warning() << "SRAM section for persistent variables is invalid, reinitializing"
                                   << std::endl;
        }
        makeFresh();
        if (load32(m_pSRAMHeader) != s_magic)
        {
            // The mutex stays taken: later callers wait on it.
            startupLog().error() << "Unable to write to SRAM" << std::endl;
            return false;
        }
    }

    // The walk: every block start, with its header.
    uint64_t const heap = heapSize();
    std::vector<std::pair<uint32_t, uint32_t>> blocks;
    // 0: no block start; 1: a block start no slot names (yet); 2: a block start a slot names.
    std::vector<unsigned char> state(heap, 0);
    bool sizesValid = true;
    uint64_t handle = 0;
    while (true)
    {
        if (handle + 4 > heap)
        {
            sizesValid = false;
            break;
        }
        uint32_t const header = load32(m_pHeap + handle);
        blocks.emplace_back(static_cast<uint32_t>(handle), header);
        state[handle] = 1;
        uint64_t const next = handle + (header & kSizeMask) + 8;
        if (next >= heap)
        {
            sizesValid = next == heap;
            break;
        }
        handle = next;
    }
    if (!sizesValid)
    {
        startupLog().warning()
            << "SRAM section for persistent variables contains invalid block sizes, forcing reinit" << std::endl;
        m_mutex.give();
        return init(true);
    }

    auto name = [&](uint32_t h)
    {
        if (h < heap && state[h] != 0)
        {
            state[h] = 2;
        }
    };
    for (int slot = 0; slot < s_slotCount; ++slot)
    {
        uint8_t const type = slotType(slot);
        if (type != 0)
        {
            name(slotName(slot));
            if (type == 5)
            {
                name(slotWord(slot));
            }
            m_lastUsedSlot = slot;
        }
        else if (m_firstFreeSlot < 0)
        {
            m_firstFreeSlot = slot;
        }
        // Marks are valid for one run.
        if (slotAddress(slot)[1] != 0)
        {
            storeSlotByte(slot, 1, 0);
        }
    }
    if (m_firstFreeSlot < 0)
    {
        m_firstFreeSlot = m_lastUsedSlot + 1;
    }
    for (auto const& block : blocks)
    {
        if (state[block.first] == 1 && (block.second & s_allocatedBit) != 0)
        {
            startupLog().warning()
                << "SRAM section for persistent variables contains lost memory blocks, forcing reinit" << std::endl;
            m_mutex.give();
            return init(true);
        }
    }

    // Complete interrupted writes. A block that a slot names but whose header says free was being
    // placed when the process stopped: it is allocated, with the split that was prepared inside it
    // (the front's footer and the free rest's header stand behind the text) or whole.
    unsigned int repaired = 0;
    size_t const walked = blocks.size();
    for (size_t i = 0; i < walked; ++i)
    {
        uint32_t const start = blocks[i].first;
        uint32_t const size = blocks[i].second & kSizeMask;
        if (state[start] != 2 || (blocks[i].second & s_allocatedBit) != 0)
        {
            continue;
        }
        uint32_t front = size;
        char const* pText = reinterpret_cast<char const*>(m_pHeap + start + 4);
        for (uint64_t n = strnlen(pText, size) + 1; n + 8 <= size; ++n)
        {
            if (load32(m_pHeap + start + 4 + n) == (n | s_allocatedBit) &&
                load32(m_pHeap + start + 8 + n) == size - n - 8)
            {
                front = static_cast<uint32_t>(n);
                break;
            }
        }
        if (front != size)
        {
            uint32_t const rest = start + 8 + front;
            blocks.emplace_back(rest, size - front - 8);
            state[rest] = 1;
        }
        blocks[i].second = front | s_allocatedBit;
        writeHeap(start, blocks[i].second);
        ++repaired;
    }
    std::sort(blocks.begin(), blocks.end());
    for (auto const& block : blocks)
    {
        if (state[block.first] == 1)
        {
            m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(block.second), block.first));
        }
        // Every footer equals its header.
        uint64_t const footer = static_cast<uint64_t>(block.first) + 4 + (block.second & kSizeMask);
        if (load32(m_pHeap + footer) != block.second)
        {
            writeHeap(footer, block.second);
            ++repaired;
        }
    }
    if (repaired != 0)
    {
        startupLog().info() << "Persistent storage: completed " << repaired << " interrupted heap writes"
                            << std::endl;
    }
    m_mutex.give();
    return true;
}

void PDLPersistentVarManager::cleanup()
{
    m_mutex.take();
    if (m_pHeap != nullptr)
    {
        compactMemory();
    }
    m_mutex.give();
    m_running = true;
    start(ePriorityLow);
}

void PDLPersistentVarManager::run()
{
    while (true)
    {
        m_mutex.take();
        size_t const freeBlocks = m_freeBlocks.size();
        m_mutex.give();
        if (freeBlocks > 1)
        {
            m_mutex.take();
            compactMemOneStep();
            m_mutex.give();
            m_wakeUp.take(100);
        }
        else
        {
            m_wakeUp.take(1000);
        }
        if (!m_running)
        {
            return;
        }
    }
}

bool PDLPersistentVarManager::shutdownCallback()
{
    // The flag ends the loop; the signal cuts its sleep short.
    m_running = false;
    m_wakeUp.give();
    return true;
}

// ---------------------------------------------------------------------------------------------------
// The heap

void PDLPersistentVarManager::eraseFreeEntry(uint32_t handle)
{
    for (auto it = m_freeBlocks.begin(); it != m_freeBlocks.end(); ++it)
    {
        if (it->second == handle)
        {
            m_freeBlocks.erase(it);
            return;
        }
    }
}

std::multimap<int32_t, uint32_t>::iterator PDLPersistentVarManager::bestFit(uint32_t size, uint32_t skip1,
                                                                           uint32_t skip2)
{
    auto it = m_freeBlocks.lower_bound(static_cast<int32_t>(size));
    while (it != m_freeBlocks.end() && (it->second == skip1 || it->second == skip2))
    {
        ++it;
    }
    return it;
}

// Writes a new block into the free block at handle (of size blockSize, already out of the free list):
// the data, and either the footer of the whole block, or the footer of the front part and the header
// and footer of the free rest. The free block's header, still spanning it all, is written last, by
// finishBlock, once a slot names the block.
PDLPersistentVarManager::Placement PDLPersistentVarManager::prepareBlock(uint32_t handle, uint32_t blockSize,
                                                                        void const* pData, uint32_t length,
                                                                        uint32_t payload, bool split)
{
    Placement placement;
    placement.m_handle = handle;
    // Both ends of the block are checked before anything is written.
    readHeap(handle);
    readHeap(static_cast<uint64_t>(handle) + 4 + blockSize);
    copyToHeap(static_cast<uint64_t>(handle) + 4, pData, length);
    if (split)
    {
        uint32_t const rest = blockSize - payload - 8;
        writeHeap(static_cast<uint64_t>(handle) + 4 + payload, payload | s_allocatedBit);
        writeHeap(static_cast<uint64_t>(handle) + 8 + payload, rest);
        writeHeap(static_cast<uint64_t>(handle) + 4 + blockSize, rest);
        placement.m_size = payload;
        placement.m_split = true;
        placement.m_restHandle = handle + 8 + payload;
        placement.m_restSize = rest;
    }
    else
    {
        writeHeap(static_cast<uint64_t>(handle) + 4 + blockSize, blockSize | s_allocatedBit);
        placement.m_size = blockSize;
    }
    return placement;
}

void PDLPersistentVarManager::finishBlock(Placement const& placement)
{
    writeHeap(placement.m_handle, placement.m_size | s_allocatedBit);
}

void PDLPersistentVarManager::unmarkBlock(uint32_t handle)
{
    uint32_t const header = readHeap(handle);
    writeHeap(handle, header & kSizeMask);
    uint64_t const footer = static_cast<uint64_t>(handle) + 4 + (header & kSizeMask);
    writeHeap(footer, readHeap(footer) & kSizeMask);
}

// Merges the free block at handle with free neighbours and lists the result. keepApart names a block
// that is free by its bits but still to be merged on its own (the name block of a removed variable).
void PDLPersistentVarManager::mergeFree(uint32_t handle, uint32_t keepApart)
{
    uint32_t size = readHeap(handle) & kSizeMask;
    uint64_t start = handle;
    if (handle != 0)
    {
        uint32_t const previous = readHeap(static_cast<uint64_t>(handle) - 4);
        if ((previous & s_allocatedBit) == 0)
        {
            if (static_cast<uint64_t>(previous) + 8 > handle)
            {
                assertValidHeapAddress(nullptr);
            }
            uint64_t const previousStart = handle - 8 - static_cast<uint64_t>(previous);
            if (previousStart != keepApart)
            {
                eraseFreeEntry(static_cast<uint32_t>(previousStart));
                size = previous + size + 8;
                writeHeap(previousStart, size);
                writeHeap(previousStart + 4 + size, size);
                start = previousStart;
            }
        }
    }
    uint64_t const next = start + size + 8;
    if (next < heapSize())
    {
        uint32_t const nextHeader = readHeap(next);
        if ((nextHeader & s_allocatedBit) == 0 && next != keepApart)
        {
            eraseFreeEntry(static_cast<uint32_t>(next));
            size = nextHeader + size + 8;
            writeHeap(start, size);
            writeHeap(start + 4 + size, size);
        }
    }
    m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(size), static_cast<uint32_t>(start)));
}

uint32_t PDLPersistentVarManager::allocString(std::string const& text)
{
    if (m_pHeap == nullptr)
    {
        reportFatal("m_pHeap", __LINE__);
        return s_noHandle;
    }
    uint32_t const length = static_cast<uint32_t>(text.size());
    auto it = bestFit(length + 1, s_noHandle, s_noHandle);
    if (it == m_freeBlocks.end())
    {
        return s_noHandle;
    }
    uint32_t const handle = it->second;
    uint32_t const size = static_cast<uint32_t>(it->first);
    m_freeBlocks.erase(it);
    Placement const placement =
        prepareBlock(handle, size, text.c_str(), length + 1, length + 1, size > length + 13);
    finishBlock(placement);
    if (placement.m_split)
    {
        m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(placement.m_restSize), placement.m_restHandle));
    }
    return handle;
}

void PDLPersistentVarManager::releaseString(uint32_t handle)
{
    if (handle == s_noHandle)
    {
        return;
    }
    if (m_pHeap == nullptr)
    {
        reportFatal("m_pHeap", __LINE__);
        return;
    }
    unmarkBlock(handle);
    mergeFree(handle, s_noHandle);
}

// Puts text into a new block carved from the free block dest and makes the slot's field (4: name,
// 8: value) name it instead of oldHandle, which is freed. payload is the new block's payload size;
// the rest of dest is split off when forceSplit, or when at least 5 bytes of payload remain free.
void PDLPersistentVarManager::placeText(int slot, unsigned int field, uint32_t oldHandle, std::string const& text,
                                        uint32_t destHandle, uint32_t payload, bool forceSplit)
{
    uint32_t const destSize = readHeap(destHandle) & kSizeMask;
    uint32_t const length = static_cast<uint32_t>(text.size()) + 1;
    eraseFreeEntry(destHandle);
    bool const split = forceSplit || destSize > length + 12;
    Placement const placement = prepareBlock(destHandle, destSize, text.c_str(), length, payload, split);
    if (oldHandle != s_noHandle)
    {
        unmarkBlock(oldHandle);
    }
    if (field == 8)
    {
        commitSlot(slot, 5, destHandle, false);
    }
    else
    {
        storeSlotWord(slot, field, destHandle);
    }
    finishBlock(placement);
    // The free list takes the released block before the rest, as a release before the allocation
    // would have it; unless the released block follows the rest, which must then be listed to be merged.
    bool const restFirst = placement.m_split && oldHandle != s_noHandle &&
                           static_cast<uint64_t>(placement.m_restHandle) + placement.m_restSize + 8 == oldHandle;
    if (restFirst)
    {
        m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(placement.m_restSize), placement.m_restHandle));
    }
    if (oldHandle != s_noHandle)
    {
        mergeFree(oldHandle, s_noHandle);
    }
    if (placement.m_split && !restFirst)
    {
        m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(placement.m_restSize), placement.m_restHandle));
    }
}

// A new text for a slot: the old block is released and the text placed by best fit, as if released
// first and allocated after; the writes go in the order that keeps old or new text readable.
void PDLPersistentVarManager::writeString(int slot, std::string const& text)
{
    uint32_t const needed = static_cast<uint32_t>(text.size()) + 1;
    uint32_t const oldHandle = slotType(slot) == 5 ? slotWord(slot) : s_noHandle;
    // The free block the old one would merge into, and the free neighbours it would absorb.
    uint32_t previousFree = s_noHandle;
    uint32_t nextFree = s_noHandle;
    uint64_t mergedStart = 0;
    uint64_t mergedSize = 0;
    if (oldHandle != s_noHandle)
    {
        mergedStart = oldHandle;
        mergedSize = readHeap(oldHandle) & kSizeMask;
        if (oldHandle != 0)
        {
            uint32_t const previous = readHeap(static_cast<uint64_t>(oldHandle) - 4);
            if ((previous & s_allocatedBit) == 0 && static_cast<uint64_t>(previous) + 8 <= oldHandle)
            {
                previousFree = oldHandle - 8 - previous;
                mergedStart = previousFree;
                mergedSize += static_cast<uint64_t>(previous) + 8;
            }
        }
        uint64_t const next = mergedStart + mergedSize + 8;
        if (next < heapSize())
        {
            uint32_t const nextHeader = readHeap(next);
            if ((nextHeader & s_allocatedBit) == 0)
            {
                nextFree = static_cast<uint32_t>(next);
                mergedSize += static_cast<uint64_t>(nextHeader) + 8;
            }
        }
    }
    auto fit = bestFit(needed, previousFree, nextFree);
    // Released first, the merged block would enter the free list last: it wins only when smaller.
    bool const intoMerged = oldHandle != s_noHandle && mergedSize >= needed &&
                            (fit == m_freeBlocks.end() || mergedSize < static_cast<uint64_t>(fit->first));
    if (!intoMerged)
    {
        if (fit == m_freeBlocks.end())
        {
            if (oldHandle != s_noHandle)
            {
                unmarkBlock(oldHandle);
            }
            commitSlot(slot, 5, s_noHandle, false);
            if (oldHandle != s_noHandle)
            {
                mergeFree(oldHandle, s_noHandle);
            }
            startupLog().fatal() << "Persistent storage: out of memory (heap full)" << std::endl;
            return;
        }
        placeText(slot, 8, oldHandle, text, fit->second, needed, false);
        return;
    }
    // The new text goes where the old one stands: move the old text aside first.
    std::string const oldText = boundedText(getString(oldHandle), m_pBase + m_sectionSize);
    auto aside = bestFit(static_cast<uint32_t>(oldText.size()) + 1, previousFree, nextFree);
    if (aside != m_freeBlocks.end())
    {
        uint32_t const asideHandle = aside->second;
        placeText(slot, 8, oldHandle, oldText, asideHandle, static_cast<uint32_t>(oldText.size()) + 1, false);
        placeText(slot, 8, asideHandle, text, static_cast<uint32_t>(mergedStart), needed, false);
        return;
    }
    uint32_t const oldLength = static_cast<uint32_t>(oldText.size()) + 1;
    if (nextFree != s_noHandle)
    {
        // The usual case: the old text stands before the free end of the heap. The copy goes to the
        // back of that free block, so that the old place with the rest of the free block still holds
        // the new text.
        uint32_t const nextSize = readHeap(nextFree) & kSizeMask;
        if (nextSize >= oldLength + 8 && mergedSize >= static_cast<uint64_t>(needed) + oldLength + 8)
        {
            uint32_t const asideHandle = placeAtBack(slot, oldHandle, oldText, nextFree, nextSize);
            placeText(slot, 8, asideHandle, text, static_cast<uint32_t>(mergedStart), needed, false);
            return;
        }
    }
    if (previousFree != s_noHandle)
    {
        // The old text is the last block of the heap, or its free neighbour behind is too small: the
        // copy goes to the back of the free block before it, whose front then takes the new text.
        uint32_t const previousSize = readHeap(previousFree) & kSizeMask;
        if (previousSize >= static_cast<uint64_t>(needed) + oldLength + 8)
        {
            uint32_t const asideHandle = placeAtBack(slot, oldHandle, oldText, previousFree, previousSize);
            placeText(slot, 8, asideHandle, text, previousFree, needed, false);
            return;
        }
    }
    // No room for a copy: the variable reads "(invalid)" until the new text stands.
    unmarkBlock(oldHandle);
    commitSlot(slot, 5, s_noHandle, false);
    mergeFree(oldHandle, s_noHandle);
    placeText(slot, 8, s_noHandle, text, static_cast<uint32_t>(mergedStart), needed, false);
}

// Puts text into a new block cut from the back of the free block dest (of size destSize) and makes
// the slot's value name it instead of oldHandle, which is freed. The free block shrinks before the
// slot names the new block; until then the new block is a free one. Returns the new handle.
uint32_t PDLPersistentVarManager::placeAtBack(int slot, uint32_t oldHandle, std::string const& text, uint32_t destHandle,
                                              uint32_t destSize)
{
    uint32_t const length = static_cast<uint32_t>(text.size()) + 1;
    uint32_t const rest = destSize - length - 8;
    uint64_t const handle = static_cast<uint64_t>(destHandle) + 8 + rest;
    readHeap(static_cast<uint64_t>(destHandle) + 4 + destSize);
    copyToHeap(handle + 4, text.c_str(), length);
    writeHeap(handle + 4 + length, length | s_allocatedBit);
    writeHeap(handle, length);
    writeHeap(handle - 4, rest);
    eraseFreeEntry(destHandle);
    writeHeap(destHandle, rest);
    m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(rest), destHandle));
    unmarkBlock(oldHandle);
    commitSlot(slot, 5, static_cast<uint32_t>(handle), false);
    writeHeap(handle, length | s_allocatedBit);
    mergeFree(oldHandle, s_noHandle);
    return static_cast<uint32_t>(handle);
}

bool PDLPersistentVarManager::findOwner(uint32_t handle, int& slot, unsigned int& field)
{
    for (int i = 0; i <= m_lastUsedSlot; ++i)
    {
        uint8_t const type = slotType(i);
        if (type == 0)
        {
            continue;
        }
        if (slotName(i) == handle)
        {
            slot = i;
            field = 4;
            return true;
        }
        if (type == 5 && slotWord(i) == handle)
        {
            slot = i;
            field = 8;
            return true;
        }
    }
    return false;
}

void PDLPersistentVarManager::compactMemOneStep()
{
    compactStep();
}

// Exchanges the first free block with the allocated block behind it; false when nothing was done.
bool PDLPersistentVarManager::compactStep()
{
    if (m_freeBlocks.size() < 2)
    {
        return false;
    }
    if (m_pHeap == nullptr || m_pSRAMHeader == nullptr || m_pVartable == nullptr)
    {
        reportFatal("m_pHeap", __LINE__);
        return false;
    }
    uint64_t const heap = heapSize();
    uint64_t hole = 0;
    uint32_t header = 0;
    while (hole < heap)
    {
        header = readHeap(hole);
        if ((header & s_allocatedBit) == 0)
        {
            break;
        }
        hole += (header & kSizeMask) + 8;
    }
    if (hole >= heap)
    {
        return false;
    }
    uint32_t const holeSize = header;
    uint64_t const block = hole + holeSize + 8;
    if (block >= heap)
    {
        return false;
    }
    uint32_t const blockHeader = readHeap(block);
    if ((blockHeader & s_allocatedBit) == 0)
    {
        // Two free neighbours (left by an interrupted write, or a zeroed heap): merge them.
        eraseFreeEntry(static_cast<uint32_t>(hole));
        eraseFreeEntry(static_cast<uint32_t>(block));
        uint32_t const size = holeSize + blockHeader + 8;
        writeHeap(hole, size);
        writeHeap(hole + 4 + size, size);
        m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(size), static_cast<uint32_t>(hole)));
        return true;
    }
    eraseFreeEntry(static_cast<uint32_t>(hole));
    uint32_t const blockSize = blockHeader & kSizeMask;
    readHeap(block + 4 + blockSize);
    int owner = -1;
    unsigned int field = 0;
    bool const named = findOwner(static_cast<uint32_t>(block), owner, field);
    bool moved = false;
    moveBlockThrough(owner, named ? field : 0, static_cast<uint32_t>(block), static_cast<uint32_t>(hole), holeSize,
                     blockSize, moved);
    if (moved)
    {
        return true;
    }

    uint64_t const gap = hole + blockSize + 8;
    if (blockSize == holeSize || static_cast<uint64_t>(blockSize) + 4 <= holeSize)
    {
        // The copy lands inside the hole: the block stays whole until its owner names the copy.
        copyToHeap(hole + 4, m_pHeap + block + 4, blockSize);
        writeHeap(hole + 4 + blockSize, blockSize | s_allocatedBit);
        if (gap != block)
        {
            writeHeap(gap, holeSize);
        }
        writeHeap(block, blockSize);
        writeHeap(block + 4 + blockSize, holeSize);
        if (named)
        {
            storeSlotWord(owner, field, static_cast<uint32_t>(hole));
        }
        writeHeap(hole, blockSize | s_allocatedBit);
    }
    else
    {
        // No free block can hold the text while it moves: it is moved in place, with a short time
        // in which a killed process leaves the text unreadable.
        if (named)
        {
            storeSlotWord(owner, field, static_cast<uint32_t>(hole));
        }
        copyToHeap(hole, m_pHeap + block, static_cast<size_t>(blockSize) + 8);
        writeHeap(gap, holeSize);
        writeHeap(gap + holeSize + 4, holeSize);
    }
    uint32_t size = holeSize;
    uint64_t const behind = gap + size + 8;
    if (behind < heap)
    {
        uint32_t const behindHeader = readHeap(behind);
        if ((behindHeader & s_allocatedBit) == 0)
        {
            eraseFreeEntry(static_cast<uint32_t>(behind));
            size = behindHeader + size + 8;
            writeHeap(gap, size);
            writeHeap(gap + 4 + size, size);
        }
    }
    m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(size), static_cast<uint32_t>(gap)));
    return true;
}

// A block larger than the hole before it cannot be copied into the hole without overwriting itself.
// Its text goes to another free block first, then back to the start of the hole, which has by then
// taken in the block's old place. Sets moved when it did so.
void PDLPersistentVarManager::moveBlockThrough(int ownerSlot, unsigned int ownerField, uint32_t from,
                                               uint32_t hole, uint32_t holeSize, uint32_t blockSize, bool& moved)
{
    moved = false;
    if (ownerField == 0 || blockSize == holeSize || static_cast<uint64_t>(blockSize) + 4 <= holeSize)
    {
        return;
    }
    std::string const text = boundedText(getString(from), m_pHeap + from + 4 + blockSize);
    auto aside = bestFit(static_cast<uint32_t>(text.size()) + 1, s_noHandle, s_noHandle);
    if (aside == m_freeBlocks.end())
    {
        return;
    }
    uint32_t const asideHandle = aside->second;
    placeText(ownerSlot, ownerField, from, text, asideHandle, static_cast<uint32_t>(text.size()) + 1, false);
    placeText(ownerSlot, ownerField, asideHandle, text, hole, blockSize, true);
    moved = true;
}

void PDLPersistentVarManager::compactMemory()
{
    if (m_freeBlocks.size() < 2)
    {
        return;
    }
    unsigned int steps = 0;
    while (m_freeBlocks.size() > 1 && compactStep())
    {
        ++steps;
    }
    startupLog().info() << "[compacted " << steps << " steps] " << std::endl;
}

// ---------------------------------------------------------------------------------------------------
// Variable operations

bool PDLPersistentVarManager::checkTable(char const* pWhat)
{
    (void)pWhat;
    if (m_pVartable == nullptr)
    {
        reportFatal("m_pVartable", __LINE__);
        return false;
    }
    return true;
}

namespace
{
bool validSlot(int slot)
{
    return slot >= 0 && slot < PDLPersistentVarManager::s_slotCount;
}
} // namespace

int PDLPersistentVarManager::findVarIndex(UniqueModuleID const& moduleID, std::string const& name)
{
    if (m_pVartable == nullptr || m_lastUsedSlot < 0)
    {
        return -1;
    }
    unsigned char const* pEnd = m_pBase + m_sectionSize;
    for (int slot = 0; slot <= m_lastUsedSlot; ++slot)
    {
        if (slotType(slot) == 0 || slotModule(slot) != moduleID.getValue())
        {
            continue;
        }
        if (textMatches(getString(slotName(slot)), pEnd, name, false))
        {
            return slot;
        }
    }
    return -1;
}

int PDLPersistentVarManager::insertVariable(UniqueModuleID const& moduleID, std::string const& name)
{
    m_mutex.take();
    if (!checkTable("insertVariable"))
    {
        m_mutex.give();
        return -1;
    }
    int const existing = findVarIndex(moduleID, name);
    if (existing >= 0)
    {
        storeSlotByte(existing, 1, 1);
        m_mutex.give();
        return existing;
    }
    if (m_firstFreeSlot >= s_slotCount)
    {
        startupLog().fatal() << "Persistent storage: out of memory (too many variables)" << std::endl;
        m_mutex.give();
        return -1;
    }
    uint32_t const length = static_cast<uint32_t>(name.size()) + 1;
    auto fit = bestFit(length, s_noHandle, s_noHandle);
    if (fit == m_freeBlocks.end())
    {
        startupLog().fatal() << "Persistent storage: out of memory (heap full)" << std::endl;
        m_mutex.give();
        return -1;
    }
    int const slot = m_firstFreeSlot;
    uint32_t const handle = fit->second;
    uint32_t const size = static_cast<uint32_t>(fit->first);
    m_freeBlocks.erase(fit);
    // The slot is free until its type is written: the other fields may be written first.
    storeSlotHalf(slot, 2, moduleID.getValue());
    storeSlotWord(slot, 4, handle);
    storeSlotWord(slot, 8, 0);
    Placement const placement = prepareBlock(handle, size, name.c_str(), length, length, size > length + 12);
    storeSlotHalf(slot, 0, 0x0101); // type 1 (Invalid) and mark 1
    finishBlock(placement);
    if (placement.m_split)
    {
        m_freeBlocks.insert(std::make_pair(static_cast<int32_t>(placement.m_restSize), placement.m_restHandle));
    }
    if (slot > m_lastUsedSlot)
    {
        m_lastUsedSlot = slot;
    }
    m_firstFreeSlot = s_slotCount;
    for (int next = slot + 1; next < s_slotCount; ++next)
    {
        if (slotType(next) == 0)
        {
            m_firstFreeSlot = next;
            break;
        }
    }
    m_mutex.give();
    return slot;
}

void PDLPersistentVarManager::removeVariable(int slot)
{
    m_mutex.take();
    if (!checkTable("removeVariable") || !validSlot(slot) || slotType(slot) == 0)
    {
        m_mutex.give();
        return;
    }
    uint32_t const value = slotType(slot) == 5 ? slotWord(slot) : s_noHandle;
    uint32_t const name = slotName(slot);
    if (value != s_noHandle)
    {
        unmarkBlock(value);
    }
    if (name != s_noHandle && name != value)
    {
        unmarkBlock(name);
    }
    storeSlotByte(slot, 0, 0);
    if (value != s_noHandle)
    {
        mergeFree(value, name);
    }
    if (name != s_noHandle && name != value)
    {
        mergeFree(name, s_noHandle);
    }
    if (m_firstFreeSlot > slot)
    {
        m_firstFreeSlot = slot;
    }
    if (slot == m_lastUsedSlot)
    {
        int lower = slot - 1;
        while (lower >= 0 && slotType(lower) == 0)
        {
            --lower;
        }
        m_lastUsedSlot = lower;
    }
    m_mutex.give();
}

void PDLPersistentVarManager::removeVariable(UniqueModuleID const& moduleID, std::string const& name)
{
    m_mutex.take();
    if (!checkTable("removeVariable"))
    {
        m_mutex.give();
        return;
    }
    int const slot = findVarIndex(moduleID, name);
    if (slot < 0)
    {
        startupLog().warning() << "Persistent storage: trying to remove non-existent variable "
                               << moduleID.toString() << " " << name << std::endl;
    }
    else
    {
        removeVariable(slot);
    }
    m_mutex.give();
}

int PDLPersistentVarManager::findKeysGetNext(int start, UniqueModuleID const& moduleID, std::string const& name)
{
    m_mutex.take();
    if (!checkTable("findKeysGetNext"))
    {
        m_mutex.give();
        return -1;
    }
    std::string const prefix = name + ".";
    unsigned char const* pEnd = m_pBase + m_sectionSize;
    for (int slot = start < 0 ? 0 : start; slot <= m_lastUsedSlot; ++slot)
    {
        if (slotType(slot) == 0 || slotModule(slot) != moduleID.getValue())
        {
            continue;
        }
        if (textMatches(getString(slotName(slot)), pEnd, prefix, true))
        {
            storeSlotByte(slot, 1, 1);
            m_mutex.give();
            return slot;
        }
    }
    m_mutex.give();
    return -1;
}

std::string PDLPersistentVarManager::getVarName(int slot)
{
    m_mutex.take();
    std::string name;
    if (checkTable("getVarName") && validSlot(slot) && slotType(slot) != 0)
    {
        name = boundedText(getString(slotName(slot)), m_pBase + m_sectionSize);
    }
    m_mutex.give();
    return name;
}

PDLVariant PDLPersistentVarManager::getValue(int slot)
{
    m_mutex.take();
    PDLVariant value;
    if (checkTable("getValue") && validSlot(slot))
    {
        uint32_t const word = slotWord(slot);
        switch (slotType(slot))
        {
        case 2:
            value.setBool(slotAddress(slot)[8] != 0);
            break;
        case 3:
            value.setInt(static_cast<int32_t>(word));
            break;
        case 4:
        {
            float number;
            std::memcpy(&number, &word, 4);
            value.setFloat(number);
            break;
        }
        case 5:
            value.setString(boundedText(getString(word), m_pBase + m_sectionSize));
            break;
        default:
            break;
        }
    }
    m_mutex.give();
    return value;
}

PDLVariant PDLPersistentVarManager::getValue(UniqueModuleID const& moduleID, std::string const& name)
{
    m_mutex.take();
    PDLVariant value;
    if (checkTable("getValue"))
    {
        int const slot = findVarIndex(moduleID, name);
        if (slot < 0)
        {
            startupLog().warning() << "Persistent storage: variable " << moduleID.toString() << " " << name
                                   << " not found (get)" << std::endl;
        }
        else
        {
            value = getValue(slot);
        }
    }
    m_mutex.give();
    return value;
}

void PDLPersistentVarManager::setValue(int slot, PDLVariant const& value)
{
    m_mutex.take();
    if (!checkTable("setValue") || !validSlot(slot) || slotType(slot) == 0)
    {
        m_mutex.give();
        return;
    }
    uint8_t const type = slotType(slot);
    if (type == 5 && value.getKind() == PDLVariant::eString &&
        boundedText(getString(slotWord(slot)), m_pBase + m_sectionSize) == value.getString())
    {
        m_mutex.give();
        return;
    }
    if (value.getKind() == PDLVariant::eString)
    {
        writeString(slot, value.getString());
        m_mutex.give();
        return;
    }
    uint8_t newType = 1;
    uint32_t word = 0;
    bool lowByteOnly = false;
    switch (value.getKind())
    {
    case PDLVariant::eBool:
        newType = 2;
        word = value.getBool() ? 1 : 0;
        lowByteOnly = true;
        break;
    case PDLVariant::eInt:
        newType = 3;
        word = static_cast<uint32_t>(value.getInt());
        break;
    case PDLVariant::eFloat:
    {
        newType = 4;
        float const number = value.getFloat();
        std::memcpy(&word, &number, 4);
        break;
    }
    default:
        break;
    }
    uint32_t const oldHandle = type == 5 ? slotWord(slot) : s_noHandle;
    if (oldHandle != s_noHandle)
    {
        unmarkBlock(oldHandle);
    }
    commitSlot(slot, newType, word, lowByteOnly);
    if (oldHandle != s_noHandle)
    {
        mergeFree(oldHandle, s_noHandle);
    }
    m_mutex.give();
}

void PDLPersistentVarManager::setValue(UniqueModuleID const& moduleID, std::string const& name,
                                       PDLVariant const& value)
{
    m_mutex.take();
    if (checkTable("setValue"))
    {
        int const slot = findVarIndex(moduleID, name);
        if (slot < 0)
        {
            startupLog().warning() << "persistent storage: variable " << moduleID.toString() << " " << name
                                   << " not found (set)" << std::endl;
        }
        else
        {
            setValue(slot, value);
        }
    }
    m_mutex.give();
}

// ---------------------------------------------------------------------------------------------------
// Verification

size_t PDLPersistentVarManager::getFreeBlockCount()
{
    m_mutex.take();
    size_t const count = m_freeBlocks.size();
    m_mutex.give();
    return count;
}

bool PDLPersistentVarManager::checkHeap(std::string& why, bool adjacentFreeAllowed)
{
    m_mutex.take();
    std::ostringstream reason;
    if (m_pHeap == nullptr)
    {
        reason << "no section";
    }
    uint64_t const heap = heapSize();
    std::map<uint32_t, uint32_t> blocks;
    uint64_t handle = 0;
    bool previousFree = false;
    while (reason.tellp() == 0 && handle < heap)
    {
        if (handle + 8 > heap)
        {
            reason << "block " << handle << " does not fit";
            break;
        }
        uint32_t const header = load32(m_pHeap + handle);
        uint64_t const footer = handle + 4 + (header & kSizeMask);
        if (footer + 4 > heap)
        {
            reason << "block " << handle << " runs past the heap";
            break;
        }
        if (load32(m_pHeap + footer) != header)
        {
            reason << "block " << handle << ": footer " << load32(m_pHeap + footer) << " differs from header "
                   << header;
            break;
        }
        bool const isFree = (header & s_allocatedBit) == 0;
        if (isFree && previousFree && !adjacentFreeAllowed)
        {
            reason << "free blocks meet at " << handle;
            break;
        }
        previousFree = isFree;
        blocks[static_cast<uint32_t>(handle)] = header;
        handle = footer + 4;
    }
    std::map<uint32_t, int> named;
    for (int slot = 0; reason.tellp() == 0 && slot < s_slotCount; ++slot)
    {
        uint8_t const type = slotType(slot);
        if (type == 0)
        {
            continue;
        }
        if (slot > m_lastUsedSlot)
        {
            reason << "slot " << slot << " lies above the last used slot";
        }
        ++named[slotName(slot)];
        if (type == 5 && slotWord(slot) != s_noHandle)
        {
            ++named[slotWord(slot)];
        }
    }
    for (auto const& entry : named)
    {
        if (reason.tellp() != 0)
        {
            break;
        }
        auto it = blocks.find(entry.first);
        if (it == blocks.end() || (it->second & s_allocatedBit) == 0 || entry.second != 1)
        {
            reason << "handle " << entry.first << " is named " << entry.second
                   << " times and is no allocated block";
        }
    }
    size_t freeCount = 0;
    for (auto const& block : blocks)
    {
        if (reason.tellp() != 0)
        {
            break;
        }
        if ((block.second & s_allocatedBit) != 0)
        {
            if (named.count(block.first) == 0)
            {
                reason << "allocated block " << block.first << " is named by no slot";
            }
            continue;
        }
        ++freeCount;
        int listed = 0;
        for (auto const& entry : m_freeBlocks)
        {
            if (entry.second == block.first)
            {
                listed += static_cast<uint32_t>(entry.first) == block.second ? 1 : 100;
            }
        }
        if (listed != 1)
        {
            reason << "free block " << block.first << " is listed wrongly (" << listed << ")";
        }
    }
    if (reason.tellp() == 0 && freeCount != m_freeBlocks.size())
    {
        reason << m_freeBlocks.size() << " free list entries for " << freeCount << " free blocks";
    }
    m_mutex.give();
    why = reason.str();
    return why.empty();
}

// ---------------------------------------------------------------------------------------------------
// Shell commands

bool PDLPersistentVarManager::cmdShow(rtk::CmdParameters& /*parameters*/)
{
    std::ostream& out = std::cout;
    out << "\n"
        << "Persistent Variable Storage:\n"
        << "----------------------------\n"
        << "\n"
        << "Variables:\n";
    out << "Slot  ModID  " << std::left << std::setw(30) << "Name" << "  Type  Value\n"
        << std::string(76, '-') << "\n";
    if (m_pVartable == nullptr)
    {
        out << std::right << std::flush;
        return true;
    }
    unsigned char const* pEnd = m_pBase + m_sectionSize;
    int used = 0;
    uint64_t allocated = 0;
    uint64_t allocatedBlocks = 0;
    uint64_t usedBytes = 0;
    std::map<uint32_t, unsigned int> allocatedSizes;
    auto countBlock = [&](uint32_t handle)
    {
        if (handle == s_noHandle || static_cast<uint64_t>(handle) + 4 > heapSize())
        {
            return;
        }
        uint32_t const size = load32(m_pHeap + handle) & kSizeMask;
        allocated += size;
        ++allocatedBlocks;
        ++allocatedSizes[size];
        usedBytes += boundedText(getString(handle), pEnd).size() + 1;
    };
    for (int slot = 0; slot <= m_lastUsedSlot; ++slot)
    {
        uint8_t const type = slotType(slot);
        if (type == 0)
        {
            continue;
        }
        ++used;
        UniqueModuleID const moduleID(slotModule(slot));
        out << std::left << std::setw(4) << slot << "  " << moduleID.toString() << "  " << std::setw(30)
            << boundedText(getString(slotName(slot)), pEnd) << "  ";
        countBlock(slotName(slot));
        uint32_t const word = slotWord(slot);
        switch (type)
        {
        case 2:
            out << "BOOL  " << (slotAddress(slot)[8] != 0 ? "true" : "false");
            break;
        case 3:
            out << "INT   " << static_cast<int32_t>(word);
            break;
        case 4:
        {
            float number;
            std::memcpy(&number, &word, 4);
            out << "FLT   " << number;
            break;
        }
        case 5:
            out << "STR   " << boundedText(getString(word), pEnd);
            countBlock(word);
            break;
        default:
            out << "INV   ";
            break;
        }
        out << "\n";
    }
    out << std::right;
    out << "\n"
        << "SRAM Heap:\n"
        << "Allocated:  Size   Count    Free:  Size   Count\n"
        << std::string(47, '-') << "\n";
    std::map<uint32_t, unsigned int> freeSizes;
    uint64_t freeBytes = 0;
    for (auto const& entry : m_freeBlocks)
    {
        ++freeSizes[static_cast<uint32_t>(entry.first)];
        freeBytes += static_cast<uint32_t>(entry.first);
    }
    auto left = allocatedSizes.begin();
    auto right = freeSizes.begin();
    while (left != allocatedSizes.end() || right != freeSizes.end())
    {
        if (left != allocatedSizes.end())
        {
            out << std::string(11, ' ') << std::setw(6) << left->first << "  " << std::setw(5) << left->second;
            ++left;
        }
        else
        {
            out << std::string(24, ' ');
        }
        if (right != freeSizes.end())
        {
            out << std::string(10, ' ') << std::setw(6) << right->first << "  " << std::setw(5) << right->second;
            ++right;
        }
        out << "\n";
    }
    uint64_t const heap = heapSize();
    auto percent = [heap](uint64_t part) { return heap == 0 ? 0 : part * 100 / heap; };
    uint64_t const overhead = heap - freeBytes - allocated;
    out << "\n"
        << "Statistics:\n"
        << "SRAM section size: " << std::setw(8) << m_sectionSize << " bytes\n"
        << "Var Table size:    " << std::setw(8) << s_slotCount * s_slotSize << " bytes\n"
        << "Var Table usage:   " << std::setw(8) << (std::to_string(used) + "/" + std::to_string(s_slotCount))
        << " (" << std::setw(2) << used / 50 << "%)\n"
        << "Heap Size:         " << std::setw(8) << heap << " bytes\n"
        << "Free Space:        " << std::setw(8) << freeBytes << " bytes (" << std::setw(2) << percent(freeBytes)
        << "%) in " << m_freeBlocks.size() << " blocks\n"
        << "Allocated Space:   " << std::setw(8) << allocated << " bytes (" << std::setw(2) << percent(allocated)
        << "%) in " << allocatedBlocks << " blocks\n"
        << "Used Space:        " << std::setw(8) << usedBytes << " bytes (" << std::setw(2) << percent(usedBytes)
        << "%)\n"
        << "Overhead:          " << std::setw(8) << overhead << " bytes (" << std::setw(2) << percent(overhead)
        << "%)\n"
        << std::flush;
    return true;
}

bool PDLPersistentVarManager::cmdTest(rtk::CmdParameters& parameters)
{
    long count = 1000;
    if (parameters.getCount() > 0)
    {
        count = std::strtol(parameters[0].c_str(), nullptr, 10);
    }
    std::cout << "stress testing PVM with " << count << " iterations" << std::endl;
    auto const started = std::chrono::steady_clock::now();
    std::srand(42);
    UniqueModuleID const moduleID(0x2203);
    for (long i = 0; i < count; ++i)
    {
        if (i % 10000 == 0)
        {
            std::cout << "." << std::flush;
        }
        int const slot = std::rand() / (2147483647 / (m_lastUsedSlot + 2));
        int const action = std::rand() / 214748364;
        switch (action)
        {
        case 0:
        {
            char name[32];
            std::snprintf(name, sizeof(name), "var%d", std::rand());
            insertVariable(moduleID, name);
            break;
        }
        case 1:
            removeVariable(slot);
            break;
        case 2:
        case 3:
            if (std::rand() > 1073741822)
            {
                setValue(slot, PDLVariant(std::string(static_cast<size_t>(std::rand() / 53687091), '-')));
            }
            else
            {
                setValue(slot, PDLVariant(42));
            }
            break;
        default:
            getValue(slot);
            break;
        }
    }
    std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - started;
    std::cout << std::endl << "stress test done in " << elapsed.count() << " seconds" << std::endl;
    return true;
}

bool PDLPersistentVarManager::cmdReset(rtk::CmdParameters& /*parameters*/)
{
    init(true);
    return true;
}

bool PDLPersistentVarManager::cmdCompact(rtk::CmdParameters& /*parameters*/)
{
    compactMemory();
    return true;
}
