#include <basekit/srammanager.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
class SRAMManagerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char pattern[] = "/tmp/basekit_sram_XXXXXX";
        char* pDir = mkdtemp(pattern);
        ASSERT_NE(pDir, nullptr);
        m_directory = pDir;
    }

    void TearDown() override
    {
        if (SRAMManager::hasInstance())
            SRAMManager::destroyInstance();
        std::string const command = "rm -rf '" + m_directory + "'";
        EXPECT_EQ(std::system(command.c_str()), 0);
    }

    SRAMManager* create(std::string const& subdirectory)
    {
        SRAMManager* pManager = SRAMManager::createInstance();
        pManager->setDirectory(m_directory + subdirectory);
        return pManager;
    }

    static long long fileSize(std::string const& path)
    {
        struct stat info;
        if (stat(path.c_str(), &info) != 0)
            return -1;
        return info.st_size;
    }

    std::string m_directory;
};
} // namespace

TEST_F(SRAMManagerTest, CreatesZeroFilledSectionOnce)
{
    SRAMManager* pManager = create("/nested/sram");
    EXPECT_EQ(pManager->getSectionSize(SRAMManager::eSRAMSection2), 1048576u);
    EXPECT_TRUE(pManager->setSectionSize(SRAMManager::eSRAMSection2, 70000));

    unsigned int size = 0;
    auto* pBase = static_cast<unsigned char*>(pManager->allocateSection(SRAMManager::eSRAMSection2, size));
    ASSERT_NE(pBase, nullptr);
    EXPECT_EQ(size, 70000u);
    EXPECT_EQ(fileSize(m_directory + "/nested/sram/section2.bin"), 70000);
    bool allZero = true;
    for (unsigned int i = 0; i < size; ++i)
        allZero = allZero && pBase[i] == 0;
    EXPECT_TRUE(allZero);

    // The same section again: the same memory; the size is fixed from now on.
    unsigned int again = 0;
    EXPECT_EQ(pManager->allocateSection(SRAMManager::eSRAMSection2, again), pBase);
    EXPECT_EQ(again, 70000u);
    EXPECT_FALSE(pManager->setSectionSize(SRAMManager::eSRAMSection2, 100));
    EXPECT_FALSE(pManager->setSectionSize(SRAMManager::eSRAMSection3, 0));

    // Another section has its own file and the default size.
    unsigned int otherSize = 0;
    void* pOther = pManager->allocateSection(SRAMManager::eSRAMSection0, otherSize);
    ASSERT_NE(pOther, nullptr);
    EXPECT_NE(pOther, static_cast<void*>(pBase));
    EXPECT_EQ(otherSize, 1048576u);
    EXPECT_EQ(fileSize(m_directory + "/nested/sram/section0.bin"), 1048576);
}

TEST_F(SRAMManagerTest, SurvivesAKilledWriter)
{
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0)
    {
        // The writer: fill the section, tell the parent, and wait to be killed without any cleanup.
        SRAMManager* pManager = create("");
        pManager->setSectionSize(SRAMManager::eSRAMSection2, 65536);
        unsigned int size = 0;
        auto* pBase =
            static_cast<unsigned char*>(pManager->allocateSection(SRAMManager::eSRAMSection2, size));
        if (pBase == nullptr)
            _exit(1);
        for (unsigned int i = 0; i < size; ++i)
            pBase[i] = static_cast<unsigned char>(i * 7 + 1);
        char byte = 1;
        if (write(ready[1], &byte, 1) != 1)
            _exit(1);
        for (;;)
            pause();
    }
    close(ready[1]);
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    ASSERT_EQ(kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);

    SRAMManager* pManager = create("");
    pManager->setSectionSize(SRAMManager::eSRAMSection2, 65536);
    unsigned int size = 0;
    auto* pBase = static_cast<unsigned char*>(pManager->allocateSection(SRAMManager::eSRAMSection2, size));
    ASSERT_NE(pBase, nullptr);
    ASSERT_EQ(size, 65536u);
    unsigned int wrong = 0;
    for (unsigned int i = 0; i < size; ++i)
        wrong += pBase[i] != static_cast<unsigned char>(i * 7 + 1);
    EXPECT_EQ(wrong, 0u);
}

TEST_F(SRAMManagerTest, ExistingFileOfAnotherSize)
{
    // A short file grows with zeros behind its contents.
    {
        std::ofstream out(m_directory + "/section1.bin", std::ios::binary);
        out << "abc";
    }
    // A long file keeps its length; only the configured size is mapped.
    {
        std::ofstream out(m_directory + "/section4.bin", std::ios::binary);
        out << std::string(8192, 'x');
    }
    SRAMManager* pManager = create("");
    pManager->setSectionSize(SRAMManager::eSRAMSection1, 4096);
    pManager->setSectionSize(SRAMManager::eSRAMSection4, 4096);

    unsigned int size = 0;
    auto* pShort = static_cast<char*>(pManager->allocateSection(SRAMManager::eSRAMSection1, size));
    ASSERT_NE(pShort, nullptr);
    EXPECT_EQ(size, 4096u);
    EXPECT_EQ(std::memcmp(pShort, "abc", 3), 0);
    EXPECT_EQ(pShort[3], 0);
    EXPECT_EQ(pShort[4095], 0);
    EXPECT_EQ(fileSize(m_directory + "/section1.bin"), 4096);

    auto* pLong = static_cast<char*>(pManager->allocateSection(SRAMManager::eSRAMSection4, size));
    ASSERT_NE(pLong, nullptr);
    EXPECT_EQ(size, 4096u);
    EXPECT_EQ(pLong[4095], 'x');
    EXPECT_EQ(fileSize(m_directory + "/section4.bin"), 8192);
}

TEST_F(SRAMManagerTest, FailureGivesNullAndSizeZero)
{
    // A plain file where the directory should be.
    {
        std::ofstream out(m_directory + "/blocked");
        out << "file";
    }
    SRAMManager* pManager = create("/blocked/sram");
    unsigned int size = 123;
    EXPECT_EQ(pManager->allocateSection(SRAMManager::eSRAMSection2, size), nullptr);
    EXPECT_EQ(size, 0u);

    size = 123;
    EXPECT_EQ(pManager->allocateSection(static_cast<SRAMManager::ESRAMSection>(8), size), nullptr);
    EXPECT_EQ(size, 0u);

    // A later directory that works serves the same section.
    pManager->setDirectory(m_directory);
    pManager->setSectionSize(SRAMManager::eSRAMSection2, 4096);
    EXPECT_NE(pManager->allocateSection(SRAMManager::eSRAMSection2, size), nullptr);
    EXPECT_EQ(size, 4096u);
    pManager->sync();
}
