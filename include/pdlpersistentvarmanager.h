#ifndef PDLPERSISTENTVARMANAGER_H
#define PDLPERSISTENTVARMANAGER_H

// PDLPersistentVarManager: keeps PDL variables marked persistent in a section of non-volatile memory.
//
// The section (SRAMManager section 2) holds, little-endian:
//   offset 0      u32 magic 0x20080811, u32 slot count 5000
//   offset 8      5000 slots of 12 bytes: u8 type (0 free, else PDLVariant kind + 1), u8 mark,
//                 u16 module id, u32 heap handle of the name, u32 value (bool in its first byte,
//                 int, float bits or heap handle of the text)
//   offset 60008  the heap: blocks of a u32 header, the payload and a u32 footer equal to the header;
//                 bit 31 marks an allocated block, bits 0-30 are the payload size. A handle is the
//                 offset of a block's header from the start of the heap; 0xFFFFFFFF is none.
// Nothing in the section is a pointer. Writes are ordered so that a process killed at any moment
// leaves a section that passes the start-up check with every variable at its old or its new value;
// the check completes what an interrupted write left half done.

#include "rtk/semaphore.h"
#include "rtk/singleton.h"
#include "rtk/thread.h"

#include "pdlvariant.h"

#include <basekit/uniqueids.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace rtk
{
class CmdParameters;
}

class PDLPersistentVarManager : public rtk::Singleton<PDLPersistentVarManager>, public rtk::Thread
{
public:
    static uint32_t const s_magic = 0x20080811;
    static int const s_slotCount = 5000;
    static uint32_t const s_slotSize = 12;
    static uint32_t const s_tableOffset = 8;
    static uint32_t const s_heapOffset = 60008;
    static uint32_t const s_noHandle = 0xFFFFFFFF;
    static uint32_t const s_allocatedBit = 0x80000000;

    PDLPersistentVarManager();
    ~PDLPersistentVarManager() override;

    // Opens the section and checks it; force makes it fresh. False when the section cannot be used.
    bool init(bool force);
    // Compacts the heap once start-up is over and starts the background compaction.
    void cleanup();

    // Ends the process when p (a 32-bit word at p) does not lie inside the heap.
    void assertValidHeapAddress(void const* p);
    // The text of a block: "(invalid)" for no handle or one whose payload lies outside the section.
    char const* getString(uint32_t handle);

    // The heap. Callers hold m_mutex (allocString, releaseString); run and cleanup hold it around the
    // compaction.
    uint32_t allocString(std::string const& text);
    void releaseString(uint32_t handle);
    void compactMemOneStep();
    void compactMemory();

    // The calls of persistent PDL variables. A variable is named by its module and its name; an
    // array element by the array's name, "." and its key. Slot numbers are handles; -1 is none.
    int findVarIndex(UniqueModuleID const& moduleID, std::string const& name);
    int insertVariable(UniqueModuleID const& moduleID, std::string const& name);
    void removeVariable(int slot);
    void removeVariable(UniqueModuleID const& moduleID, std::string const& name);
    int findKeysGetNext(int start, UniqueModuleID const& moduleID, std::string const& name);
    std::string getVarName(int slot);
    PDLVariant getValue(int slot);
    PDLVariant getValue(UniqueModuleID const& moduleID, std::string const& name);
    void setValue(int slot, PDLVariant const& value);
    void setValue(UniqueModuleID const& moduleID, std::string const& name, PDLVariant const& value);

    // --- For tools and tests ---

    // Uses this memory as the section instead of asking the SRAM service (null: ask it again).
    // Takes effect at the next init.
    void useSection(void* pBase, unsigned int size);
    // Called after every single store into the section, with the context given: a test copies the
    // section there to see what a process killed at that moment would leave. Null switches it off.
    typedef void (*StoreHook)(void* pContext);
    static void setStoreHook(StoreHook hook, void* pContext);
    // Verifies the heap against the table: a whole chain of blocks, footers equal to headers, every
    // handle a slot names an allocated block named once, every other block free and listed once in
    // the free list. With adjacentFreeAllowed false, no two free blocks may be neighbours. On failure
    // false and the reason in why. Takes m_mutex.
    bool checkHeap(std::string& why, bool adjacentFreeAllowed = false);
    size_t getFreeBlockCount();
    // The section in use and its size (null before a successful init).
    unsigned char* getSectionBase() const { return m_pBase; }

protected:
    void run() override;
    bool shutdownCallback() override;

private:
    // A block being placed: its handle, payload size, and the free rest split off behind it.
    struct Placement
    {
        uint32_t m_handle = s_noHandle;
        uint32_t m_size = 0;
        uint32_t m_restHandle = s_noHandle;
        uint32_t m_restSize = 0;
        bool m_split = false;
    };

    uint64_t heapSize() const;
    uint32_t readHeap(uint64_t offset);
    void writeHeap(uint64_t offset, uint32_t value);
    void copyToHeap(uint64_t offset, void const* pData, size_t length);
    unsigned char* slotAddress(int slot) const;
    uint8_t slotType(int slot) const;
    uint16_t slotModule(int slot) const;
    uint32_t slotName(int slot) const;
    uint32_t slotWord(int slot) const;
    void storeSlotByte(int slot, unsigned int offset, uint8_t value);
    void storeSlotHalf(int slot, unsigned int offset, uint16_t value);
    void storeSlotWord(int slot, unsigned int offset, uint32_t value);
    void commitSlot(int slot, uint8_t type, uint32_t value, bool lowByteOnly);
    static void afterStore();

    void makeFresh();
    void eraseFreeEntry(uint32_t handle);
    std::multimap<int32_t, uint32_t>::iterator bestFit(uint32_t size, uint32_t skip1, uint32_t skip2);
    Placement prepareBlock(uint32_t handle, uint32_t blockSize, void const* pData, uint32_t length,
                           uint32_t payload, bool split);
    void finishBlock(Placement const& placement);
    void unmarkBlock(uint32_t handle);
    void mergeFree(uint32_t handle, uint32_t keepApart);
    void placeText(int slot, unsigned int field, uint32_t oldHandle, std::string const& text,
                   uint32_t destHandle, uint32_t payload, bool forceSplit);
    uint32_t placeAtBack(int slot, uint32_t oldHandle, std::string const& text, uint32_t destHandle,
                         uint32_t destSize);
    void writeString(int slot, std::string const& text);
    bool compactStep();
    void moveBlockThrough(int ownerSlot, unsigned int ownerField, uint32_t from, uint32_t hole,
                          uint32_t holeSize, uint32_t blockSize, bool& moved);
    bool findOwner(uint32_t handle, int& slot, unsigned int& field);
    bool checkTable(char const* pWhat);

    bool cmdShow(rtk::CmdParameters& parameters);
    bool cmdTest(rtk::CmdParameters& parameters);
    bool cmdReset(rtk::CmdParameters& parameters);
    bool cmdCompact(rtk::CmdParameters& parameters);

    std::multimap<int32_t, uint32_t> m_freeBlocks;
    unsigned char* m_pSRAMHeader;
    unsigned char* m_pVartable;
    unsigned char* m_pHeap;
    std::atomic<bool> m_running;
    int32_t m_lastUsedSlot;
    int32_t m_firstFreeSlot;
    uint32_t m_sectionSize;
    rtk::MutexSemaphore m_mutex;

    rtk::BinarySemaphore m_wakeUp;

    unsigned char* m_pBase;
    void* m_pGivenSection;
    unsigned int m_givenSize;
    bool m_ownsSRAMManager;

    static StoreHook s_storeHook;
    static void* s_pStoreHookContext;
};

#endif
