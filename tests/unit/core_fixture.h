#ifndef CORE_FIXTURE_H
#define CORE_FIXTURE_H

// Shared set-up of the core tests: a temporary working directory with bin/libmoduledriver.so linked to
// the driver test double, the log sink pointed at a string stream, and the working directory restored
// afterwards.

#include "fakedriver.h"

#include "rtk/log.h"
#include "rtk/path.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

class CoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!rtk::LogManager::hasInstance())
        {
            rtk::LogManager::createInstance();
        }
        fakedriver::reset();
        m_oldDirectory = std::filesystem::current_path();
        char pattern[] = "/tmp/vp_core_XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        m_directory = pattern;
        std::filesystem::create_directories(m_directory / "bin");
        std::filesystem::create_directories(m_directory / "config");
        std::filesystem::current_path(m_directory);
        rtk::LogManager::setSink(&m_log);
    }

    void TearDown() override
    {
        rtk::LogManager::setSink(nullptr);
        std::filesystem::current_path(m_oldDirectory);
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }

    // The driver library appears where the core looks for it.
    void installDriver()
    {
        std::filesystem::create_symlink(VP_FAKEDRIVER_PATH, m_directory / "bin" / "libmoduledriver.so");
    }

    void writeFile(std::string const& name, std::string const& text)
    {
        std::ofstream file(m_directory / name);
        file << text;
    }

    std::string logText() const { return m_log.str(); }

    std::ostringstream m_log;
    std::filesystem::path m_directory;
    std::filesystem::path m_oldDirectory;
};

// Index of the first entry equal to text at or after from; -1 when absent.
inline int indexOf(std::vector<std::string> const& entries, std::string const& text, size_t from = 0)
{
    for (size_t i = from; i < entries.size(); ++i)
    {
        if (entries[i] == text)
        {
            return static_cast<int>(i);
        }
    }
    return -1;
}

#endif
