#include "rtk/file.h"
#include "rtk/hostaddress.h"
#include "rtk/path.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace
{
std::string normalised(std::string const& text)
{
    rtk::Path path(text);
    path.fixNotFullQualified();
    return path.getString();
}

std::string cutBack(std::string const& text)
{
    rtk::Path path(text);
    path.cutBack();
    return path.getString();
}

// A fresh directory below the temporary directory, removed with its files at the end.
class TempDir
{
public:
    TempDir()
    {
        std::string pattern = rtk::Path::getTempDirPath().getString() + "/rtk_test_XXXXXX";
        char* pName = mkdtemp(&pattern[0]);
        m_path = rtk::Path(pName != nullptr ? pName : "");
    }
    ~TempDir()
    {
        std::string const command = "rm -rf '" + m_path.getString() + "'";
        if (!m_path.isEmpty())
        {
            EXPECT_EQ(std::system(command.c_str()), 0);
        }
    }
    rtk::Path const& path() const { return m_path; }

private:
    rtk::Path m_path;
};

std::string readAll(rtk::Path const& path)
{
    rtk::File file;
    if (!file.open(path, rtk::File::eModeRead))
        return "<not opened>";
    std::string text;
    char buffer[3]; // small, so that reading takes several calls
    long count;
    while ((count = file.read(buffer, sizeof(buffer))) > 0)
        text.append(buffer, static_cast<size_t>(count));
    return text;
}
} // namespace

TEST(RtkPath, NormalisationKeepsEmptyPathsAndTails)
{
    EXPECT_EQ(normalised(""), "");
    EXPECT_TRUE(rtk::Path().isEmpty());
    EXPECT_EQ(normalised("a//b/./c"), "a/b/c");
    EXPECT_EQ(normalised("/x///y/"), "/x/y");
    EXPECT_EQ(normalised("./config/WidgetTypes.xml"), "config/WidgetTypes.xml");
    EXPECT_EQ(normalised("a/b/../c.pdl"), "a/c.pdl");
    EXPECT_EQ(normalised("a/../../c"), "../c");
    EXPECT_EQ(normalised("/../etc"), "/etc");
    // The last element is never rewritten, so "base + fileName" still ends in fileName.
    EXPECT_EQ(normalised("dir/sub/.."), "dir/sub/..");
    EXPECT_EQ(normalised("."), ".");
    std::string const base = "/work//config/./PDL/";
    std::string const fileName = "mod ule.pdl";
    std::string const full = normalised(base + fileName);
    ASSERT_GE(full.size(), fileName.size());
    EXPECT_EQ(full.substr(full.size() - fileName.size()), fileName);
    EXPECT_EQ(full, "/work/config/PDL/mod ule.pdl");
}

TEST(RtkPath, ElementsAppendAndCutBack)
{
    EXPECT_EQ(cutBack("a/b/c"), "a/b");
    EXPECT_EQ(cutBack("a/b/"), "a");
    EXPECT_EQ(cutBack("/a"), "/");
    EXPECT_EQ(cutBack("a"), "");
    EXPECT_EQ(cutBack(""), "");

    EXPECT_EQ((rtk::Path("cwd") + "config").getString(), "cwd/config");
    EXPECT_EQ((rtk::Path("cwd/") + "config").getString(), "cwd/config");
    EXPECT_EQ((rtk::Path("cwd/") + "/config").getString(), "cwd/config");
    EXPECT_EQ((rtk::Path("") + "config").getString(), "config");
    rtk::Path chained("/data");
    chained.append("PANEL").append("panelmodel.txt");
    EXPECT_EQ(chained.getString(), "/data/PANEL/panelmodel.txt");
    EXPECT_EQ(chained.getLastElement(), "panelmodel.txt");
    EXPECT_EQ(rtk::Path("a/b/").getLastElement(), "b");
    EXPECT_EQ(rtk::Path("").getLastElement(), "");

    EXPECT_TRUE(rtk::Path("/x").isAbsolute());
    EXPECT_FALSE(rtk::Path("x/y").isAbsolute());
    EXPECT_FALSE(rtk::Path().isAbsolute());
    EXPECT_TRUE(rtk::Path("a") < rtk::Path("b"));
    EXPECT_TRUE(rtk::Path("a/b") == rtk::Path(std::string("a/b")));
}

TEST(RtkPath, TempAndCurrentDirectory)
{
    char const* pOld = std::getenv("TMPDIR");
    std::string const old = pOld != nullptr ? pOld : "";
    setenv("TMPDIR", "/var/tmp", 1);
    EXPECT_EQ(rtk::Path::getTempDirPath().getString(), "/var/tmp");
    unsetenv("TMPDIR");
    EXPECT_EQ(rtk::Path::getTempDirPath().getString(), "/tmp");
    if (pOld != nullptr)
        setenv("TMPDIR", old.c_str(), 1);

    rtk::Path const before = rtk::Path::getCurrentDirectory();
    ASSERT_TRUE(before.isAbsolute());
    TempDir dir;
    ASSERT_TRUE(rtk::Path::setCurrentDirectory(dir.path()));
    rtk::Path now = rtk::Path::getCurrentDirectory();
    EXPECT_EQ(now.getLastElement(), dir.path().getLastElement());
    EXPECT_FALSE(rtk::Path::setCurrentDirectory(dir.path() + "missing"));
    ASSERT_TRUE(rtk::Path::setCurrentDirectory(before));
    EXPECT_EQ(rtk::Path::getCurrentDirectory(), before);
}

TEST(RtkFile, WriteReplacesAndReadReadsBack)
{
    TempDir dir;
    rtk::Path const name = dir.path() + "status.txt";
    EXPECT_FALSE(rtk::File::existingFile(name));
    {
        rtk::File file;
        ASSERT_TRUE(file.open(name, rtk::File::eModeWriteReplace));
        EXPECT_TRUE(file.write(std::string("first version, long text\n")));
        EXPECT_EQ(file.read(nullptr, 0), -1); // a write-only file cannot be read
    }                                         // the destructor closes
    EXPECT_TRUE(rtk::File::existingFile(name));
    EXPECT_TRUE(rtk::File::exist(name));
    EXPECT_EQ(readAll(name), "first version, long text\n");

    rtk::File file;
    ASSERT_TRUE(file.open(name, 11));
    EXPECT_TRUE(file.write("short", 5));
    file.close();
    EXPECT_EQ(readAll(name), "short"); // the whole file was replaced, nothing of the old text is left

    EXPECT_FALSE(file.write(std::string("x"))); // closed
    ASSERT_TRUE(file.open(name, 3));
    EXPECT_FALSE(file.write(std::string("x"))); // opened for reading
    file.close();

    EXPECT_FALSE(rtk::File::existingFile(dir.path())); // a directory is no file
    EXPECT_TRUE(rtk::File::remove(name));
    EXPECT_FALSE(rtk::File::exist(name));
    EXPECT_FALSE(rtk::File::remove(name));
}

TEST(RtkFile, FailuresAreSoft)
{
    TempDir dir;
    rtk::File file;
    EXPECT_FALSE(file.open(dir.path() + "missing/dir/file.txt", rtk::File::eModeWriteReplace));
    EXPECT_FALSE(file.isOpen());
    EXPECT_FALSE(file.write(std::string("lost")));
    EXPECT_FALSE(file.open(dir.path() + "absent.txt", rtk::File::eModeRead));
    char buffer[4];
    EXPECT_EQ(file.read(buffer, sizeof(buffer)), -1);
    EXPECT_FALSE(file.open(dir.path() + "other.txt", 7)); // not a known mode
    EXPECT_FALSE(rtk::File::existingFile(dir.path() + "other.txt"));
    EXPECT_FALSE(file.open(rtk::Path(), rtk::File::eModeRead));
}

TEST(RtkHostAddress, SpecialAndTextForms)
{
    rtk::HostAddress const any(rtk::HostAddress::eSpecialAny);
    EXPECT_EQ(any.getAddressString(), "0.0.0.0");
    EXPECT_EQ(rtk::HostAddress(4).getAddressString(), "0.0.0.0");
    EXPECT_FALSE(any.isEmpty());
    EXPECT_TRUE(any.isValid());
    EXPECT_EQ(rtk::HostAddress(rtk::HostAddress::eSpecialLoopback).getAddressString(), "127.0.0.1");
    EXPECT_TRUE(rtk::HostAddress().isEmpty());
    EXPECT_EQ(rtk::HostAddress().getAddressString(), "");
    EXPECT_TRUE(rtk::HostAddress(0).isEmpty());
    rtk::HostAddress const peer(std::string("192.168.7.21"));
    EXPECT_EQ(peer.getAddressString(), "192.168.7.21");
    EXPECT_TRUE(peer.isValid());
    EXPECT_TRUE(rtk::HostAddress(std::string("::1")).isValid());
    EXPECT_FALSE(rtk::HostAddress(std::string("not.an.address")).isValid());
}
