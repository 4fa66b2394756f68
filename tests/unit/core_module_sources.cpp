// Reading a module's source: enciphered files and their header checks, sources that cannot be read
// (which fail the load, never the process), and the line table after discarded commands.

#include "core_pdlfixture.h"

#include "pdlencryption.h"
#include "pdlmodule.h"
#include "pdlmodulemanager.h"
#include "pdlscanner.h"

#include "rtk/encryption.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <memory>
#include <thread>

namespace
{
class CerrCapture
{
public:
    CerrCapture() : m_pOld(std::cerr.rdbuf(m_text.rdbuf())) {}
    ~CerrCapture() { std::cerr.rdbuf(m_pOld); }
    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf* m_pOld;
};

// The enciphered form of text, as pdlcrypt writes it.
std::string encipher(std::string const& text)
{
    unsigned char bytes[PDLEncryptionHeader::s_size];
    PDLEncryptionHeader::forKey(getPDLSourceKey()).write(bytes);
    std::string body = text;
    rtk::IsaacEncryption cipher;
    cipher.setKey(getPDLSourceKey());
    cipher.encipher(reinterpret_cast<unsigned char const*>(body.data()), reinterpret_cast<unsigned char*>(&body[0]),
                    body.size());
    return std::string(reinterpret_cast<char const*>(bytes), sizeof(bytes)) + body;
}

class ModuleSourceTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        std::filesystem::create_directories(m_directory / "config" / "PDL");
        m_global.reset(new PDLGlobal());
        m_workplace.reset(new PDLWorkplace(m_global.get(), 1));
        m_group.reset(new PDLGroup(m_workplace.get(), 1, 2));
        newModule();
        yylineno = 1;
    }

    void TearDown() override
    {
        m_module.reset();
        m_group.reset();
        m_workplace.reset();
        m_global.reset();
        PDLTest::TearDown();
    }

    void newModule()
    {
        m_module.reset();
        m_module.reset(new PDLModule(m_group.get(), UniqueModuleID(1, 2, 3), 5, 6, nullptr, ""));
    }

    // Loads PDL/name and runs its init code; returns the load's result, with what init printed.
    bool load(std::string const& name, std::string* pPrinted = nullptr)
    {
        yylineno = 1;
        bool const loaded = m_module->load(rtk::Path((m_directory / "config").string()), "PDL/" + name);
        if (loaded && pPrinted != nullptr)
        {
            CoutCapture out;
            m_module->init();
            *pPrinted = out.text();
        }
        return loaded;
    }

    std::string full(std::string const& name) const { return (m_directory / "config" / "PDL" / name).string(); }

    std::unique_ptr<PDLGlobal> m_global;
    std::unique_ptr<PDLWorkplace> m_workplace;
    std::unique_ptr<PDLGroup> m_group;
    std::unique_ptr<PDLModule> m_module;
};

std::string const s_source = "module $n\n"
                             "include \"part.pdl\"\n"
                             "init\n"
                             "  $n := 6\n"
                             "  println \"n \", $n * $k, \" \", $text\n"
                             "end init\n";
std::string const s_part = "module $k\nmodule $text\ninit\n  $k := 7\n  $text := \"" + std::string(9000, 'x') +
                           "\"\nend init\n";

TEST_F(ModuleSourceTest, EncipheredFilesReadLikeTheirPlainTwinsInAnyMix)
{
    std::string const expected = "n 42 " + std::string(9000, 'x') + "\n";
    struct Case
    {
        char const* what;
        std::string top;
        std::string part;
    } const cases[] = {
        {"plain", s_source, s_part},
        {"enciphered top, enciphered include (longer than one read)", encipher(s_source), encipher(s_part)},
        {"plain top, enciphered include", s_source, encipher(s_part)},
        {"enciphered top, plain include", encipher(s_source), s_part},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.what);
        std::filesystem::remove(full("a.pdl"));
        std::filesystem::remove(full("a.pdl.enc"));
        // An enciphered top-level file is found as the ".enc" twin of the plain name.
        writeFile(c.top == s_source ? "config/PDL/a.pdl" : "config/PDL/a.pdl.enc", c.top);
        writeFile("config/PDL/part.pdl", c.part);
        newModule();
        std::string printed;
        EXPECT_TRUE(load("a.pdl", &printed)) << logText();
        EXPECT_EQ(expected, printed);
    }
}

// A pseudo-terminal stands in for a file that goes away while it is read: the reader gets what was
// written, then, once the other side is closed, a read error.
class VanishingFile
{
public:
    VanishingFile()
    {
        m_master = posix_openpt(O_RDWR | O_NOCTTY);
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0)
        {
            return;
        }
        m_path = ptsname(m_master);
        // A second handle on the reading side: it tells when the reader has taken what was written.
        m_watch = open(m_path.c_str(), O_RDWR | O_NOCTTY);
        termios raw;
        tcgetattr(m_watch, &raw);
        cfmakeraw(&raw);
        tcsetattr(m_watch, TCSANOW, &raw);
    }
    ~VanishingFile()
    {
        if (m_writer.joinable())
        {
            m_writer.join();
        }
        if (m_watch >= 0)
        {
            close(m_watch);
        }
    }
    bool usable() const { return m_watch >= 0; }
    std::string const& path() const { return m_path; }

    // Writes text for the reader, waits until it has been read, then goes away.
    void feedThenVanish(std::string const& text)
    {
        m_writer = std::thread(
            [this, text]()
            {
                ssize_t const written = write(m_master, text.data(), text.size());
                (void)written;
                for (int i = 0; i < 5000; ++i)
                {
                    int pending = 0;
                    ioctl(m_watch, FIONREAD, &pending);
                    if (pending == 0)
                    {
                        break;
                    }
                    usleep(1000);
                }
                usleep(20000);
                close(m_master);
            });
    }

private:
    int m_master = -1;
    int m_watch = -1;
    std::string m_path;
    std::thread m_writer;
};

TEST_F(ModuleSourceTest, SourcesThatCannotBeReadFailTheirLoadAndNothingElse)
{
    std::filesystem::create_directories(full("adir"));
    writeFile("config/PDL/locked.pdl", "module $a\n");
    chmod(full("locked.pdl").c_str(), 0);
    std::filesystem::create_symlink("/proc/self/mem", full("device.pdl"));
    writeFile("config/PDL/incdir.pdl", "module $a\ninclude \"device.pdl\"\nmodule $b\n");
    writeFile("config/PDL/good.pdl", "init\n  println \"fine\"\nend init\n");

    struct Case
    {
        std::string name;
        std::string message;
    } const cases[] = {
        {"adir", "Failed to read file \"" + full("adir") + "\": Is a directory"},
        // Reads of a process's memory at address 0 fail for every user.
        {"device.pdl", "Failed to read file \"" + full("device.pdl") + "\": Input/output error"},
        {"incdir.pdl", "Failed to read file \"" + full("device.pdl") + "\": Input/output error"},
        {"locked.pdl", "Failed to open file"},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.name);
        if (c.name == "locked.pdl" && geteuid() == 0)
        {
            std::cout << "[ SKIPPED  ] locked.pdl: running as root, file permissions do not keep root out"
                      << std::endl;
            continue;
        }
        newModule();
        CerrCapture errors;
        EXPECT_FALSE(load(c.name));
        EXPECT_NE(std::string::npos, (errors.text() + logText()).find(c.message)) << errors.text();
        // The next module loads and runs as ever.
        newModule();
        std::string printed;
        EXPECT_TRUE(load("good.pdl", &printed));
        EXPECT_EQ("fine\n", printed);
    }
}

TEST_F(ModuleSourceTest, AFileThatVanishesMidLoadFailsTheLoad)
{
    VanishingFile file;
    if (!file.usable())
    {
        GTEST_SKIP() << "no pseudo-terminal available to stand in for a vanishing file";
    }
    // The stream is no file: the header check cannot rewind it, so the text starts with 20 blanks.
    std::string const text = std::string(20, ' ') + "module $first\nmodule $second\n";
    file.feedThenVanish(text);
    CerrCapture errors;
    bool const loaded = m_module->load(rtk::Path("/"), file.path().substr(1));
    EXPECT_FALSE(loaded);
    EXPECT_NE(std::string::npos,
              errors.text().find("Failed to read file \"" + file.path() + "\": Input/output error"))
        << errors.text();
    // What was read before the file went away was parsed; the parse ended without a syntax error.
    EXPECT_EQ(std::string::npos, errors.text().find("syntax error")) << errors.text();
    EXPECT_NE(nullptr, m_module->getVariable("first", false, false));
}

TEST_F(ModuleSourceTest, DiscardedCommandsLeaveTheLineTable)
{
    // Line 3: a goto outside a sequence fails its context check and is thrown away; the print after it
    // on the same line becomes the line's first command. Line 6: a syntax error discards the command.
    writeFile("config/PDL/bad.pdl", "module $a\n"
                                    "widget $w = 1\n"
                                    "  goto X println \"after\"\n"
                                    "  $a := 1\n"
                                    "end widget\n"
                                    "init $a := 2 2\n");
    CerrCapture errors;
    EXPECT_FALSE(load("bad.pdl"));
    PDLCommand* pLine3 = m_module->getCommand(3);
    ASSERT_NE(nullptr, pLine3);
    CoutCapture out;
    // Under the address sanitizer a freed command here is a use after free.
    m_module->setBreakpoint(3);
    EXPECT_TRUE(pLine3->getBreakpoint());
    m_module->setBreakpoint(6);
    m_module->deleteBreakpoint(6);
    EXPECT_EQ(nullptr, m_module->getCommand(6));
    EXPECT_EQ("Line (6) without code, breakpoint not possible!\n", out.text());
}
} // namespace
