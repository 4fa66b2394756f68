#ifndef CORE_PVM_HELPERS_H
#define CORE_PVM_HELPERS_H

// A persistent variable manager on a section in memory, with byte access to the section.

#include "core_fixture.h"

#include "pdlpersistentvarmanager.h"

#include <cstring>
#include <vector>

class PvmTest : public CoreTest
{
public:
    static unsigned int const kHeap = 2048;

    void SetUp() override
    {
        CoreTest::SetUp();
        m_section.assign(PDLPersistentVarManager::s_heapOffset + kHeap, 0);
        m_pStore = PDLPersistentVarManager::createInstance();
        m_pStore->useSection(m_section.data(), static_cast<unsigned int>(m_section.size()));
    }

    void TearDown() override
    {
        PDLPersistentVarManager::setStoreHook(nullptr, nullptr);
        PDLPersistentVarManager::destroyInstance();
        CoreTest::TearDown();
    }

    uint32_t word(size_t offset) const
    {
        uint32_t value;
        std::memcpy(&value, &m_section[offset], 4);
        return value;
    }
    void setWord(size_t offset, uint32_t value) { std::memcpy(&m_section[offset], &value, 4); }
    uint32_t heapWord(size_t offset) const { return word(PDLPersistentVarManager::s_heapOffset + offset); }
    static size_t slot(int n, size_t field = 0) { return 8 + 12 * static_cast<size_t>(n) + field; }

    // Starts again on the section as it stands; the log of that start only.
    std::string restart()
    {
        m_log.str("");
        EXPECT_TRUE(m_pStore->init(false));
        return m_log.str();
    }

    std::string heapProblem(bool adjacentFreeAllowed = false)
    {
        std::string why;
        m_pStore->checkHeap(why, adjacentFreeAllowed);
        return why;
    }

    std::vector<unsigned char> m_section;
    PDLPersistentVarManager* m_pStore = nullptr;
    void* m_pUser = nullptr;
    UniqueModuleID const m_module{UniqueModuleID(1, 2, 3)};
};

#endif
