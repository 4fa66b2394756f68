#include "rtk/cmd.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace
{
// Catches std::cout while it lives.
class CoutCapture
{
public:
    CoutCapture() : m_pOld(std::cout.rdbuf(m_text.rdbuf())) {}
    ~CoutCapture() { std::cout.rdbuf(m_pOld); }
    std::string text() const { return m_text.str(); }

private:
    std::ostringstream m_text;
    std::streambuf* m_pOld;
};

class Owner
{
public:
    explicit Owner(std::string const& prefix) : m_prefix(prefix) {}
    ~Owner() { rtk::CmdProcessor::getInstance()->unregisterOwner(this); }

    void registerAll()
    {
        rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
        pShell->registerCmd(m_prefix + "Echo", m_prefix + "Echo <text>...\n\tprint the arguments", this,
                            &Owner::shellCmdEcho);
        pShell->registerCmd(m_prefix + "Fail", "fail always", this, &Owner::shellCmdFail);
        pShell->registerCmd(m_prefix + "Nested", "", this, &Owner::shellCmdNested);
    }

    bool shellCmdEcho(rtk::CmdParameters& parameters)
    {
        m_calls.push_back(parameters.getName());
        std::cout << parameters.getCount();
        for (size_t i = 0; i < parameters.getCount(); ++i)
            std::cout << " [" << parameters.get(i) << "]";
        std::cout << std::endl;
        return true;
    }
    bool shellCmdFail(rtk::CmdParameters&) { return false; }
    // Registers a command from inside a handler: the registry must not be locked here.
    bool shellCmdNested(rtk::CmdParameters&)
    {
        rtk::CmdProcessor::getInstance()->registerCmd(m_prefix + "Late", "late", this, &Owner::shellCmdEcho);
        return rtk::CmdProcessor::getInstance()->execute(m_prefix + "Late from inside");
    }

    std::vector<std::string> m_calls;

private:
    std::string m_prefix;
};
} // namespace

TEST(RtkCmdParameters, SplitsOnBlanksAndQuotes)
{
    rtk::CmdParameters parameters("  setAttr\t0 1  \"two words\" x\"y z\"w \"\" last  ");
    EXPECT_EQ(parameters.getName(), "setAttr");
    ASSERT_EQ(parameters.getCount(), 6u);
    EXPECT_EQ(parameters.get(0), "0");
    EXPECT_EQ(parameters.get(1), "1");
    EXPECT_EQ(parameters.get(2), "two words");
    EXPECT_EQ(parameters.get(3), "xy zw");
    EXPECT_EQ(parameters.get(4), "");
    EXPECT_EQ(parameters.get(5), "last");
    EXPECT_EQ(parameters.get(6), "");
    EXPECT_EQ(parameters.get(1000), "");

    rtk::CmdParameters open("cmd \"unclosed quote");
    ASSERT_EQ(open.getCount(), 1u);
    EXPECT_EQ(open.get(0), "unclosed quote");
    rtk::CmdParameters blank(" \t ");
    EXPECT_EQ(blank.getName(), "");
    EXPECT_EQ(blank.getCount(), 0u);
}

TEST(RtkCmdProcessor, RunsHandlersAndReportsUnknownNames)
{
    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    EXPECT_EQ(rtk::CmdProcessor::getInstance(), pShell);
    Owner owner("t1");
    owner.registerAll();
    {
        CoutCapture out;
        EXPECT_TRUE(pShell->execute("t1Echo a \"b c\""));
        EXPECT_FALSE(pShell->execute("t1Fail"));
        EXPECT_TRUE(pShell->execute(""));
        EXPECT_TRUE(pShell->execute("   "));
        EXPECT_FALSE(pShell->execute("noSuchCommand 1 2"));
        EXPECT_EQ(out.text(), "2 [a] [b c]\nUnknown command \"noSuchCommand\", try help\n");
    }
    {
        CoutCapture out;
        EXPECT_TRUE(pShell->execute("t1Nested"));
        EXPECT_EQ(out.text(), "2 [from] [inside]\n");
        EXPECT_TRUE(pShell->hasCommand("t1Late"));
    }
    EXPECT_EQ(owner.m_calls, (std::vector<std::string>{"t1Echo", "t1Late"}));
}

TEST(RtkCmdProcessor, HelpListsSortedAndShowsOneCommand)
{
    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    Owner owner("t2");
    owner.registerAll();
    std::string listing;
    {
        CoutCapture out;
        EXPECT_TRUE(pShell->execute("help"));
        listing = out.text();
    }
    // Sorted by name; the usage line names the command, otherwise the name stands ahead.
    size_t const echo = listing.find("t2Echo <text>...\n");
    size_t const fail = listing.find("t2Fail - fail always\n");
    size_t const nested = listing.find("t2Nested\n");
    EXPECT_NE(echo, std::string::npos) << listing;
    EXPECT_NE(fail, std::string::npos) << listing;
    EXPECT_NE(nested, std::string::npos) << listing;
    EXPECT_LT(echo, fail);
    EXPECT_LT(fail, nested);
    EXPECT_EQ(listing.find("print the arguments"), std::string::npos); // only first lines

    CoutCapture out;
    EXPECT_TRUE(pShell->execute("help t2Echo"));
    EXPECT_FALSE(pShell->execute("help t2Missing"));
    EXPECT_EQ(out.text(),
              "t2Echo <text>...\n\tprint the arguments\nUnknown command \"t2Missing\", try help\n");

    std::vector<std::string> const names = pShell->getCommandNames();
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST(RtkCmdProcessor, ReplaceAndUnregister)
{
    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    Owner first("t3");
    Owner second("t3");
    first.registerAll();
    second.registerAll();
    // The second registration of the names replaced the first.
    {
        CoutCapture out;
        EXPECT_TRUE(pShell->execute("t3Echo"));
    }
    EXPECT_TRUE(first.m_calls.empty());
    EXPECT_EQ(second.m_calls.size(), 1u);

    pShell->unregisterCmd("t3Fail");
    EXPECT_FALSE(pShell->hasCommand("t3Fail"));
    EXPECT_TRUE(pShell->hasCommand("t3Echo"));
    pShell->unregisterOwner(&first); // owns nothing any more
    EXPECT_TRUE(pShell->hasCommand("t3Echo"));
    {
        Owner other("t4");
        other.registerAll();
        EXPECT_TRUE(pShell->hasCommand("t4Echo"));
    } // its destructor unregisters all of its commands
    EXPECT_FALSE(pShell->hasCommand("t4Echo"));
    EXPECT_FALSE(pShell->hasCommand("t4Nested"));
    pShell->unregisterOwner(&second);
    EXPECT_FALSE(pShell->hasCommand("t3Echo"));
    EXPECT_FALSE(pShell->hasCommand("t3Nested"));
    EXPECT_TRUE(pShell->hasCommand("help"));
}
