#include "core_pvm_helpers.h"

#include "core_pdlfixture.h"

#include "rtk/cmd.h"

#include <functional>

namespace
{
char const kInvalid[] = "SRAM section for persistent variables is invalid, reinitializing";
char const kSizes[] = "SRAM section for persistent variables contains invalid block sizes, forcing reinit";
char const kLost[] = "SRAM section for persistent variables contains lost memory blocks, forcing reinit";
} // namespace

using PvmSectionTest = PvmTest;

TEST_F(PvmSectionTest, FreshSectionLayout)
{
    EXPECT_NE(restart().find(kInvalid), std::string::npos);
    uint32_t const size = static_cast<uint32_t>(m_section.size());
    EXPECT_EQ(0x20080811u, word(0));
    EXPECT_EQ(5000u, word(4));
    EXPECT_EQ(size - 60016, heapWord(0));
    EXPECT_EQ(size - 60016, word(size - 4));
    m_log.str("");
    EXPECT_TRUE(m_pStore->init(true));
    EXPECT_EQ(std::string::npos, m_log.str().find("WARNING")) << "a forced start says nothing";
}

// Each case damages a good section with two variables ("a" = "text", "b" = 7) and starts again.
TEST_F(PvmSectionTest, StartupCheckRepairsOrResets)
{
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
        m_pStore->init(true);
        int const a = m_pStore->insertVariable(m_module, "a");
        int const b = m_pStore->insertVariable(m_module, "b");
        m_pStore->setValue(a, PDLVariant("text"));
        m_pStore->setValue(b, PDLVariant(7));
        c.m_damage(*this);
        std::string const log = restart();
        if (c.m_warning == nullptr)
        {
            EXPECT_EQ(std::string::npos, log.find("WARNING")) << c.m_name << "\n" << log;
            EXPECT_EQ("text", m_pStore->getValue(m_module, "a").getString()) << c.m_name;
            EXPECT_EQ(7, m_pStore->getValue(m_module, "b").getInt()) << c.m_name;
            EXPECT_EQ("", heapProblem()) << c.m_name;
            continue;
        }
        EXPECT_NE(std::string::npos, log.find(c.m_warning)) << c.m_name << "\n" << log;
        EXPECT_EQ(-1, m_pStore->findVarIndex(m_module, "a")) << c.m_name;
        EXPECT_EQ(1u, m_pStore->getFreeBlockCount()) << c.m_name;
    }
}

TEST_F(PvmSectionTest, OddSectionsPassOrAreRefused)
{
    // A zeroed heap with a valid header is a chain of empty free blocks.
    setWord(0, 0x20080811);
    setWord(4, 5000);
    EXPECT_EQ(std::string::npos, restart().find("WARNING"));
    EXPECT_EQ(kHeap / 8, m_pStore->getFreeBlockCount());
    // The background compaction merges them.
    m_pStore->compactMemory();
    EXPECT_EQ(1u, m_pStore->getFreeBlockCount());
    EXPECT_EQ("", heapProblem());

    // A heap that is no multiple of 8 cannot be such a chain.
    m_section.assign(60008 + 12, 0);
    setWord(0, 0x20080811);
    setWord(4, 5000);
    m_pStore->useSection(m_section.data(), static_cast<unsigned int>(m_section.size()));
    EXPECT_NE(std::string::npos, restart().find(kSizes));

    // Too small for the table and one block: refused, and every operation is harmless.
    m_section.assign(60000, 0xAB);
    m_pStore->useSection(m_section.data(), static_cast<unsigned int>(m_section.size()));
    m_log.str("");
    EXPECT_FALSE(m_pStore->init(false));
    EXPECT_NE(std::string::npos, m_log.str().find("too small"));
    EXPECT_EQ(-1, m_pStore->insertVariable(m_module, "a"));
    EXPECT_EQ(PDLVariant::eInvalid, m_pStore->getValue(0).getKind());
    EXPECT_EQ(0xABu, m_section[0]);
}

TEST_F(PvmSectionTest, AllocatorPlacesAndMerges)
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

TEST_F(PvmSectionTest, VariableOperations)
{
    m_pStore->init(true);
    int const a = m_pStore->insertVariable(m_module, "A.x");
    int const ab = m_pStore->insertVariable(m_module, "AB.C");
    EXPECT_EQ(PDLVariant::eInvalid, m_pStore->getValue(a).getKind());
    EXPECT_EQ(1, m_section[slot(a)]);
    m_pStore->setValue(a, PDLVariant("one"));
    uint32_t const handle = word(slot(a, 8));
    m_pStore->setValue(a, PDLVariant("one"));
    EXPECT_EQ(handle, word(slot(a, 8))) << "an equal text is not written again";
    // Kinds change; a Bool keeps the upper bytes of the value field.
    m_pStore->setValue(a, PDLVariant(0x12345678));
    EXPECT_EQ("", heapProblem()) << "the text block is free again";
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
    EXPECT_EQ(-1, m_pStore->findKeysGetNext(a + 1, m_module, "A"));
    EXPECT_EQ(ab, m_pStore->findKeysGetNext(0, m_module, "AB"));
    EXPECT_EQ(1, m_section[slot(ab, 1)]);
    EXPECT_EQ("AB.C", m_pStore->getVarName(ab));
    // Unknown names are warned of.
    m_log.str("");
    m_pStore->getValue(m_module, "nope");
    m_pStore->setValue(m_module, "nope", PDLVariant(1));
    m_pStore->removeVariable(m_module, "nope");
    EXPECT_NE(std::string::npos, m_log.str().find("Persistent storage: variable 1.2.3 nope not found (get)"));
    EXPECT_NE(std::string::npos, m_log.str().find("persistent storage: variable 1.2.3 nope not found (set)"));
    EXPECT_NE(std::string::npos,
              m_log.str().find("Persistent storage: trying to remove non-existent variable 1.2.3 nope"));
    // Removing the last used slot lowers the bound over free slots.
    m_pStore->removeVariable(ab);
    m_pStore->removeVariable(m_module, "A.x");
    EXPECT_EQ(-1, m_pStore->findVarIndex(m_module, "A.x"));
    EXPECT_EQ("", heapProblem());
    EXPECT_EQ(1u, m_pStore->getFreeBlockCount());
}

TEST_F(PvmSectionTest, FullTableAndFullHeap)
{
    m_section.assign(60008 + 100000, 0);
    m_pStore->useSection(m_section.data(), static_cast<unsigned int>(m_section.size()));
    m_pStore->init(true);
    for (int i = 0; i < 5000; ++i)
    {
        ASSERT_EQ(i, m_pStore->insertVariable(m_module, std::to_string(i)));
    }
    m_log.str("");
    EXPECT_EQ(-1, m_pStore->insertVariable(m_module, "more"));
    EXPECT_NE(std::string::npos, m_log.str().find("Persistent storage: out of memory (too many variables)"));
    EXPECT_EQ(4999, m_pStore->insertVariable(m_module, "4999"));
    restart();
    EXPECT_EQ(-1, m_pStore->insertVariable(m_module, "more")) << "5000 is the first free slot";
    // A text larger than any free block: the variable reads "(invalid)" until the next write.
    m_pStore->setValue(0, PDLVariant(std::string(200000, 'x')));
    EXPECT_NE(std::string::npos, m_log.str().find("Persistent storage: out of memory (heap full)"));
    EXPECT_EQ("(invalid)", m_pStore->getValue(0).getString());
    EXPECT_EQ(std::string::npos, restart().find("WARNING"));
}

TEST_F(PvmSectionTest, ShowReport)
{
    m_pStore->init(true);
    m_pStore->setValue(m_pStore->insertVariable(m_module, "b"), PDLVariant(true));
    m_pStore->insertVariable(UniqueModuleID(0x2203), "nothing");
    std::string output;
    {
        CoutCapture capture;
        rtk::CmdProcessor::getInstance()->execute("pvmShow");
        output = capture.text();
    }
    std::string const expected = "\nPersistent Variable Storage:\n----------------------------\n\nVariables:\n"
                                 "Slot  ModID  Name                            Type  Value\n" +
                                 std::string(76, '-') +
                                 "\n"
                                 "0     1.2.3  b" + std::string(29, ' ') + "  BOOL  true\n"
                                 "1     1.2.3  nothing" + std::string(23, ' ') + "  INV   \n"
                                 "\nSRAM Heap:\nAllocated:  Size   Count    Free:  Size   Count\n" +
                                 std::string(47, '-') +
                                 "\n"
                                 "                2      1" + std::string(10, ' ') + "  2014      1\n"
                                 "                8      1\n"
                                 "\nStatistics:\n"
                                 "SRAM section size:    62056 bytes\n"
                                 "Var Table size:       60000 bytes\n"
                                 "Var Table usage:     2/5000 ( 0%)\n"
                                 "Heap Size:             2048 bytes\n"
                                 "Free Space:            2014 bytes (98%) in 1 blocks\n"
                                 "Allocated Space:         10 bytes ( 0%) in 2 blocks\n"
                                 "Used Space:              10 bytes ( 0%)\n"
                                 "Overhead:                24 bytes ( 1%)\n";
    EXPECT_EQ(expected, output);
}

TEST_F(PvmSectionTest, BackgroundCompactionAndReset)
{
    m_pStore->init(true);
    std::vector<int> slots;
    for (int i = 0; i < 8; ++i)
    {
        slots.push_back(m_pStore->insertVariable(m_module, "v" + std::to_string(i)));
        m_pStore->setValue(slots.back(), PDLVariant(std::string(10 + i, 'x')));
    }
    m_pStore->setValue(slots[1], PDLVariant(1));
    m_pStore->setValue(slots[4], PDLVariant(1));
    m_log.str("");
    m_pStore->cleanup();
    EXPECT_NE(std::string::npos, m_log.str().find("[compacted ")) << m_log.str();
    EXPECT_EQ(1u, m_pStore->getFreeBlockCount());
    // Holes made while the thread runs are closed by it, one step at a time.
    m_pStore->setValue(slots[2], PDLVariant(2));
    m_pStore->setValue(slots[6], PDLVariant(2));
    for (int wait = 0; wait < 300 && m_pStore->getFreeBlockCount() > 1; ++wait)
    {
        rtk::Thread::mssleep(10);
    }
    EXPECT_EQ(1u, m_pStore->getFreeBlockCount());
    EXPECT_EQ(std::string(17, 'x'), m_pStore->getValue(slots[7]).getString());
    EXPECT_EQ("", heapProblem());
    // pvmReset starts over without a warning.
    m_log.str("");
    rtk::CmdProcessor::getInstance()->execute("pvmReset");
    EXPECT_EQ(std::string::npos, m_log.str().find("WARNING"));
    EXPECT_EQ(-1, m_pStore->findVarIndex(m_module, "v7"));
}
