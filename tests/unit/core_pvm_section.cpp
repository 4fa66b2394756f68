// The persistent variable store on a section in memory: its layout, the start-up check, the allocator,
// the variable operations and the crash safety of every single store. pvmShow's report is covered by
// the pvm-restart scenario, a killed writer by pvmcrash/.

#include "core_pdlfixture.h"

#include "pdlpersistentvarmanager.h"

#include "rtk/cmd.h"

#include <cstring>
#include <functional>
#include <map>
#include <random>

namespace
{
char const kInvalid[] = "SRAM section for persistent variables is invalid, reinitializing";
char const kSizes[] = "SRAM section for persistent variables contains invalid block sizes, forcing reinit";
char const kLost[] = "SRAM section for persistent variables contains lost memory blocks, forcing reinit";

class PvmTest : public CoreTest
{
public:
    static unsigned int const kHeap = 2048;

    void SetUp() override
    {
        CoreTest::SetUp();
        m_pStore = PDLPersistentVarManager::createInstance();
        useSection(PDLPersistentVarManager::s_heapOffset + kHeap, 0);
    }
    void TearDown() override
    {
        PDLPersistentVarManager::setStoreHook(nullptr, nullptr);
        PDLPersistentVarManager::destroyInstance();
        CoreTest::TearDown();
    }
    void useSection(size_t size, unsigned char fill)
    {
        m_section.assign(size, fill);
        m_pStore->useSection(m_section.data(), static_cast<unsigned int>(m_section.size()));
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
    UniqueModuleID const m_module{UniqueModuleID(1, 2, 3)};
};
} // namespace

// Each case damages a good section with two variables ("a" = "text", "b" = 7) and starts again.
TEST_F(PvmTest, StartupCheckRepairsOrResets)
{
    EXPECT_NE(std::string::npos, restart().find(kInvalid));
    uint32_t const size = static_cast<uint32_t>(m_section.size());
    EXPECT_EQ(0x20080811u, word(0));
    EXPECT_EQ(5000u, word(4));
    EXPECT_EQ(size - 60016, heapWord(0));
    EXPECT_EQ(size - 60016, word(size - 4));
    struct Case
    {
        char const* m_name;
        std::function<void(PvmTest&)> m_damage;
        char const* m_warning; // null: the check passes and both variables stay
    };
    std::vector<Case> const cases = {
        {"untouched", [](PvmTest&) {}, nullptr},
        {"zeroed", [](PvmTest& t) { std::fill(t.m_section.begin(), t.m_section.end(), 0); }, kInvalid},
        {"other slot count", [](PvmTest& t) { t.setWord(4, 4999); }, kInvalid},
        {"garbage header", [](PvmTest& t) { t.setWord(0, 0xDEADBEEF); }, kInvalid},
        {"size beyond the heap", [](PvmTest& t) { t.setWord(60008, 0x7FFFFFF0); }, kSizes},
        {"chain off by one", [](PvmTest& t) { t.setWord(60008, t.heapWord(0) + 1); }, kSizes},
        {"unnamed allocated block", [](PvmTest& t) { t.m_section[slot(1)] = 0; }, kLost},
        {"value handle none", [](PvmTest& t) { t.setWord(slot(0, 8), 0xFFFFFFFF); }, kLost},
        {"name handle outside the heap", [](PvmTest& t) { t.setWord(slot(1, 4), 0x7FFFFFFF); }, kLost},
        // Left half done by a killed write: the slot names a block whose bits say free.
        {"named block marked free",
         [](PvmTest& t)
         {
             uint32_t const handle = t.word(slot(0, 8));
             t.setWord(60008 + handle, t.heapWord(handle) & 0x7FFFFFFF);
         },
         nullptr},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_name);
        m_log.str("");
        m_pStore->init(true);
        EXPECT_EQ(std::string::npos, m_log.str().find("WARNING")) << "a forced start says nothing";
        m_pStore->setValue(m_pStore->insertVariable(m_module, "a"), PDLVariant("text"));
        m_pStore->setValue(m_pStore->insertVariable(m_module, "b"), PDLVariant(7));
        c.m_damage(*this);
        std::string const log = restart();
        if (c.m_warning == nullptr)
        {
            EXPECT_EQ(std::string::npos, log.find("WARNING")) << log;
            EXPECT_EQ("text", m_pStore->getValue(m_module, "a").getString());
            EXPECT_EQ(7, m_pStore->getValue(m_module, "b").getInt());
            EXPECT_EQ("", heapProblem());
            continue;
        }
        EXPECT_NE(std::string::npos, log.find(c.m_warning)) << log;
        EXPECT_EQ(-1, m_pStore->findVarIndex(m_module, "a"));
        EXPECT_EQ(1u, m_pStore->getFreeBlockCount());
    }

    // A zeroed heap with a valid header is a chain of empty free blocks, which compaction merges.
    useSection(m_section.size(), 0);
    setWord(0, 0x20080811);
    setWord(4, 5000);
    EXPECT_EQ(std::string::npos, restart().find("WARNING"));
    EXPECT_EQ(kHeap / 8, m_pStore->getFreeBlockCount());
    m_pStore->compactMemory();
    EXPECT_EQ(1u, m_pStore->getFreeBlockCount());
    // A heap that is no multiple of 8 cannot be such a chain.
    useSection(60008 + 12, 0);
    setWord(0, 0x20080811);
    setWord(4, 5000);
    EXPECT_NE(std::string::npos, restart().find(kSizes));
    // Too small for the table and one block: refused, untouched, and every operation is harmless.
    useSection(60000, 0xAB);
    EXPECT_FALSE(m_pStore->init(false));
    EXPECT_NE(std::string::npos, m_log.str().find("too small"));
    EXPECT_EQ(-1, m_pStore->insertVariable(m_module, "a"));
    EXPECT_EQ(PDLVariant::eInvalid, m_pStore->getValue(0).getKind());
    EXPECT_EQ(0xABu, m_section[0]);
}

TEST_F(PvmTest, AllocatorPlacesAndMerges)
{
    m_pStore->init(true);
    // An empty text takes a payload of 1 at the start of the heap.
    EXPECT_EQ(0u, m_pStore->allocString(""));
    EXPECT_EQ(0x80000001u, heapWord(0));
    uint32_t const guard1 = m_pStore->allocString("g");
    // A free block of 30 between two allocated ones.
    uint32_t const hole = m_pStore->allocString(std::string(29, 'x'));
    uint32_t const guard2 = m_pStore->allocString("g");
    m_pStore->releaseString(hole);
    EXPECT_EQ(30u, heapWord(hole));
    // A text of 30 - 13 takes it whole; one byte less splits off a free rest of 5.
    EXPECT_EQ(hole, m_pStore->allocString(std::string(17, 'y')));
    EXPECT_EQ(0x8000001Eu, heapWord(hole));
    m_pStore->releaseString(hole);
    EXPECT_EQ(hole, m_pStore->allocString(std::string(16, 'y')));
    EXPECT_EQ(0x80000011u, heapWord(hole));
    EXPECT_EQ(5u, heapWord(hole + 25));
    // Releasing the block between two free ones leaves one free block of their combined size.
    m_pStore->releaseString(guard2);
    m_pStore->releaseString(hole);
    EXPECT_EQ(1u, m_pStore->getFreeBlockCount());
    EXPECT_EQ(kHeap - 8 - (guard1 + 10), heapWord(hole));
    // Releasing block 0 reads no footer before it.
    m_pStore->releaseString(0);
    EXPECT_EQ(1u, heapWord(0));
    // The two free blocks hold 2022 bytes together, but no text of 2021: no compaction on the spot.
    EXPECT_EQ(0xFFFFFFFFu, m_pStore->allocString(std::string(2021, 'z')));
}

TEST_F(PvmTest, VariableOperations)
{
    m_pStore->init(true);
    int const a = m_pStore->insertVariable(m_module, "A.x");
    int const ab = m_pStore->insertVariable(m_module, "AB.C");
    int const ax = m_pStore->insertVariable(m_module, "A");
    EXPECT_EQ(PDLVariant::eInvalid, m_pStore->getValue(a).getKind());
    EXPECT_EQ(1, m_section[slot(a)]);
    // Names are found whole, never by their start.
    EXPECT_EQ(ax, m_pStore->findVarIndex(m_module, "A"));
    EXPECT_EQ(-1, m_pStore->findVarIndex(m_module, "AB"));
    EXPECT_EQ(-1, m_pStore->findVarIndex(UniqueModuleID(1, 2, 4), "A"));
    m_pStore->setValue(a, PDLVariant("one"));
    uint32_t const handle = word(slot(a, 8));
    m_pStore->setValue(a, PDLVariant("one"));
    EXPECT_EQ(handle, word(slot(a, 8))) << "an equal text is not written again";
    // Kinds change and read back whole; a Bool keeps the upper bytes of the value field.
    m_pStore->setValue(a, PDLVariant(0x12345678));
    EXPECT_EQ(0x12345678, m_pStore->getValue(a).getInt());
    m_pStore->setValue(a, PDLVariant(-70000));
    EXPECT_EQ(-70000, m_pStore->getValue(m_module, "A.x").getInt());
    EXPECT_EQ("", heapProblem()) << "the text block is free again";
    m_pStore->setValue(a, PDLVariant(0x12345678));
    m_pStore->setValue(a, PDLVariant(false));
    EXPECT_EQ(0x12345600u, word(slot(a, 8)));
    EXPECT_FALSE(m_pStore->getValue(a).getBool());
    m_pStore->setValue(a, PDLVariant(2.5f));
    EXPECT_EQ(2.5f, m_pStore->getValue(m_module, "A.x").getFloat());
    // Marks: cleared at start, set again by insert and by the key walk.
    restart();
    EXPECT_EQ(0, m_section[slot(a, 1)]);
    EXPECT_EQ(a, m_pStore->insertVariable(m_module, "A.x"));
    EXPECT_EQ(2.5f, m_pStore->getValue(a).getFloat()) << "insert keeps the value";
    EXPECT_EQ(ab, m_pStore->findKeysGetNext(0, m_module, "AB"));
    EXPECT_EQ(-1, m_pStore->findKeysGetNext(ab + 1, m_module, "AB"));
    EXPECT_EQ(1, m_section[slot(ab, 1)]);
    EXPECT_EQ("AB.C", m_pStore->getVarName(ab));
    // Unknown names are warned of.
    m_log.str("");
    m_pStore->getValue(m_module, "nope");
    m_pStore->setValue(m_module, "nope", PDLVariant(1));
    m_pStore->removeVariable(m_module, "nope");
    EXPECT_NE(std::string::npos, m_log.str().find("Persistent storage: variable 1.2.3 nope not found (get)"));
    EXPECT_NE(std::string::npos, m_log.str().find("persistent storage: variable 1.2.3 nope not found (set)"));
    EXPECT_NE(std::string::npos, m_log.str().find("Persistent storage: trying to remove non-existent variable 1.2.3 nope"));
    m_pStore->removeVariable(ab);
    m_pStore->removeVariable(ax);
    m_pStore->removeVariable(m_module, "A.x");
    EXPECT_EQ(-1, m_pStore->findVarIndex(m_module, "A.x"));
    EXPECT_EQ("", heapProblem());
    EXPECT_EQ(1u, m_pStore->getFreeBlockCount());

    // A full table, and a text larger than any free block: it reads "(invalid)" until the next write.
    useSection(60008 + 100000, 0);
    m_pStore->init(true);
    for (int i = 0; i < 5000; ++i)
        ASSERT_EQ(i, m_pStore->insertVariable(m_module, std::to_string(i)));
    m_log.str("");
    EXPECT_EQ(-1, m_pStore->insertVariable(m_module, "more"));
    EXPECT_NE(std::string::npos, m_log.str().find("Persistent storage: out of memory (too many variables)"));
    EXPECT_EQ(4999, m_pStore->insertVariable(m_module, "4999"));
    restart();
    EXPECT_EQ(-1, m_pStore->insertVariable(m_module, "more")) << "5000 is the first free slot";
    m_pStore->setValue(0, PDLVariant(std::string(200000, 'x')));
    EXPECT_NE(std::string::npos, m_log.str().find("Persistent storage: out of memory (heap full)"));
    EXPECT_EQ("(invalid)", m_pStore->getValue(0).getString());
    EXPECT_EQ(std::string::npos, restart().find("WARNING"));
}

namespace
{
void copySection(void* pContext)
{
    auto* pSnapshots = static_cast<std::pair<PvmTest*, std::vector<std::vector<unsigned char>>>*>(pContext);
    pSnapshots->second.push_back(pSnapshots->first->m_section);
}
} // namespace

// Stops a process at every single store of 300 random operations: the section as it stands at each
// store must start without a reset, with every variable at its value before or after the operation,
// and with a sound heap.
TEST_F(PvmTest, EveryStoreLeavesAStartableSection)
{
    useSection(PDLPersistentVarManager::s_heapOffset + 8192, 0);
    m_pStore->init(true);
    std::mt19937 random(7);
    std::vector<std::string> names;
    for (int i = 0; i < 12; ++i)
        names.push_back("v" + std::to_string(i));
    auto values = [&]
    {
        std::map<std::string, std::string> result;
        for (std::string const& name : names)
        {
            int const slot = m_pStore->findVarIndex(m_module, name);
            PDLVariant const value = slot < 0 ? PDLVariant() : m_pStore->getValue(slot);
            result[name] = slot < 0 ? "absent" : std::to_string(value.getKind()) + ":" + value.getString();
        }
        return result;
    };
    std::pair<PvmTest*, std::vector<std::vector<unsigned char>>> snapshots(this, {});
    int checked = 0;
    int repaired = 0;
    for (int step = 0; step < 300; ++step)
    {
        std::string const name = names[random() % names.size()];
        int const slot = m_pStore->findVarIndex(m_module, name);
        unsigned int const action = random() % 10;
        std::map<std::string, std::string> const before = values();
        snapshots.second.clear();
        PDLPersistentVarManager::setStoreHook(&copySection, &snapshots);
        if (slot < 0 || action == 0)
            slot < 0 ? static_cast<void>(m_pStore->insertVariable(m_module, name)) : m_pStore->removeVariable(slot);
        else if (action < 6)
            m_pStore->setValue(slot, PDLVariant(name + "/" + std::to_string(step) + std::string(random() % 90, '.')));
        else if (action < 9)
        {
            PDLVariant const choices[] = {PDLVariant(step), PDLVariant(step + 0.5f), PDLVariant(step % 2 == 0),
                                          PDLVariant()};
            m_pStore->setValue(slot, choices[random() % 4]);
        }
        else
            m_pStore->compactMemOneStep();
        PDLPersistentVarManager::setStoreHook(nullptr, nullptr);
        std::map<std::string, std::string> const after = values();
        std::vector<unsigned char> const live = m_section;
        for (std::vector<unsigned char> const& snapshot : snapshots.second)
        {
            m_section = snapshot;
            std::string const log = restart();
            ASSERT_EQ(std::string::npos, log.find("WARNING")) << "step " << step << "\n" << log;
            repaired += log.find("completed") != std::string::npos ? 1 : 0;
            ASSERT_EQ("", heapProblem(true)) << "step " << step;
            std::map<std::string, std::string> const now = values();
            for (std::string const& n : names)
            {
                ASSERT_TRUE(now.at(n) == before.at(n) || now.at(n) == after.at(n))
                    << "step " << step << " " << n << ": " << now.at(n) << " is neither " << before.at(n) << " nor "
                    << after.at(n);
            }
            for (int k = 0; k < 1000 && m_pStore->getFreeBlockCount() > 1; ++k)
            {
                m_pStore->compactMemOneStep();
                ASSERT_EQ("", heapProblem(true)) << "step " << step << " action " << action << " k " << k;
            }
            ASSERT_EQ("", heapProblem()) << "step " << step;
            ++checked;
        }
        m_section = live;
        restart();
        ASSERT_EQ("", heapProblem(true)) << "step " << step;
    }
    // The interrupted states must really have needed the start-up's completion now and then.
    EXPECT_GT(checked, 1200);
    EXPECT_GT(repaired, 60);
}
