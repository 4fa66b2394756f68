// The network configuration listener: the side files it writes from the mainframe's state entries.

#include "core_pdlfixture.h"

#include "netconfiginfolistener.h"
#include "pdlpanelstate.h"

#include <fstream>

namespace
{
class NetConfigTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        PDLPanelState::createInstance();
        std::filesystem::create_directories(m_directory / "net");
        std::filesystem::create_directories(m_directory / "data" / "PANEL");
        m_listener.setSystemFilePath((m_directory / "net").string() + "/");
    }

    void TearDown() override
    {
        m_listener.deinit();
        PDLPanelState::destroyInstance();
        PDLTest::TearDown();
    }

    // The file's content, or "(none)"; the file is removed, so the next look tells whether it was
    // written again.
    std::string take(std::filesystem::path const& path)
    {
        std::ifstream in(path);
        if (!in)
        {
            return "(none)";
        }
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::filesystem::remove(path);
        return text;
    }
    std::string name() { return take(m_directory / "net" / "sysname.txt"); }
    std::string type() { return take(m_directory / "net" / "systype.txt"); }
    std::string model() { return take(m_directory / "data" / "PANEL" / "panelmodel.txt"); }
    void set(std::string const& fid, std::string const& value) { PDLPanelState::getInstance()->setValueString(fid, value); }

    NetConfigInfoListener m_listener;
};

TEST_F(NetConfigTest, NameAndModelFilesFollowTheStateAndTheModelNeverFalls)
{
    // Nothing before init.
    m_listener.start();
    EXPECT_EQ("(none)", name());
    EXPECT_EQ("NetConfig Info Listener", m_listener.getDescription(0));

    m_listener.init(2, "MF1");
    set("PANEL.MODULE.2.1.11.LOGICBOARD.ID", "a");
    set("PANEL.MODULE.2.3.11.LOGICBOARD.ID", "b");
    set("PANEL.MODULE.1.3.11.LOGICBOARD.ID", "other workplace");
    set("PANEL.MODULE.2.12.11.LOGICBOARD.ID", "group out of range");
    m_listener.start();
    // The first update writes the name in any case; an empty type writes no type file.
    EXPECT_EQ("SystemA", name());
    EXPECT_EQ("(none)", type());
    EXPECT_EQ("2ME", model());

    set("MF1.SYSTEM.NAME", "Studio 4");
    m_listener.update();
    EXPECT_EQ("Studio 4", name());
    m_listener.update();
    EXPECT_EQ("(none)", name());
    EXPECT_EQ("(none)", model());

    // A board that appears later is counted at once; one that goes does not lower the count.
    set("PANEL.MODULE.2.9.11.LOGICBOARD.ID", "c");
    EXPECT_EQ("3ME", model());
    PDLPanelState::getInstance()->unsetStateValue("PANEL.MODULE.2.9.11.LOGICBOARD.ID");
    m_listener.update();
    EXPECT_EQ("(none)", model());

    // Re-pointed to a workplace with fewer boards, the model stays.
    m_listener.init(1, "MF1");
    m_listener.start();
    EXPECT_EQ("(none)", model());

    // A missing directory costs the file and nothing else.
    m_listener.setSystemFilePath((m_directory / "missing").string() + "/");
    set("MF1.SYSTEM.NAME", "Studio 5");
    m_listener.update();
    EXPECT_FALSE(std::filesystem::exists(m_directory / "missing"));
}

TEST_F(NetConfigTest, TheTypesLastLetterNamesTheChassis)
{
    m_listener.init(0, "MF");
    m_listener.start();
    struct Case
    {
        char const* value;
        char const* written;
    } const cases[] = {
        {"C4000M", "C4000"}, {"C4000K", "T-RACK"}, {"C4000S", "T-RACK Alpha"}, {"C4000V", "T-RACK Beta"},
        {"C4000X", "Rack One"}, {"C4000P", "Rack One Plus"}, {"C4000", "C4000"},
        // Tested once: "KM" loses its M only.
        {"C4000KM", "C4000K"},
        // Unchanged: nothing written.
        {"C4000KM", "(none)"},
        // A type that turns empty.
        {"", "Bristel"},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.value);
        set("MF.SYSTEM.TYPE", c.value);
        m_listener.update();
        EXPECT_EQ(c.written, type());
    }
}
} // namespace
