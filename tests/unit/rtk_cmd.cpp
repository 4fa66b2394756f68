#include "rtk/cmd.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace
{
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

// Registers prefix + "Echo", "Fail" and "Nested"; its destructor unregisters all of them.
class Owner
{
public:
    explicit Owner(std::string const& prefix) : m_prefix(prefix)
    {
        rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
        pShell->registerCmd(m_prefix + "Echo", m_prefix + "Echo <text>...\n\tprint the arguments", this,
                            &Owner::shellCmdEcho);
        pShell->registerCmd(m_prefix + "Fail", "fail always", this, &Owner::shellCmdFail);
        pShell->registerCmd(m_prefix + "Nested", "", this, &Owner::shellCmdNested);
    }
    ~Owner() { rtk::CmdProcessor::getInstance()->unregisterOwner(this); }

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
    // Registers and runs a command from inside a handler: the registry must not be locked here.
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
    struct Case
    {
        char const* m_line;
        char const* m_name;
        std::vector<std::string> m_arguments;
    };
    std::vector<Case> const cases = {
        {"  setAttr\t0 1  \"two words\" x\"y z\"w \"\" last  ", "setAttr", {"0", "1", "two words", "xy zw", "", "last"}},
        {"cmd \"unclosed quote", "cmd", {"unclosed quote"}},
        {"cmd \"\"", "cmd", {""}},
        {" \t ", "", {}},
    };
    for (Case const& c : cases)
    {
        SCOPED_TRACE(c.m_line);
        rtk::CmdParameters parameters(c.m_line);
        EXPECT_EQ(c.m_name, parameters.getName());
        std::vector<std::string> arguments;
        for (size_t i = 0; i < parameters.getCount(); ++i)
            arguments.push_back(parameters.get(i));
        EXPECT_EQ(c.m_arguments, arguments);
        EXPECT_EQ("", parameters.get(parameters.getCount()));
    }
}

TEST(RtkCmdProcessor, RunsHandlersHelpAndUnknownNames)
{
    rtk::CmdProcessor* pShell = rtk::CmdProcessor::getInstance();
    Owner owner("t1");
    {
        CoutCapture out;
        EXPECT_TRUE(pShell->execute("t1Echo a \"b c\""));
        EXPECT_FALSE(pShell->execute("t1Fail"));
        EXPECT_TRUE(pShell->execute("   "));
        EXPECT_FALSE(pShell->execute("noSuchCommand 1 2"));
        EXPECT_TRUE(pShell->execute("t1Nested"));
        EXPECT_EQ("2 [a] [b c]\nUnknown command \"noSuchCommand\", try help\n2 [from] [inside]\n", out.text());
    }
    EXPECT_EQ((std::vector<std::string>{"t1Echo", "t1Late"}), owner.m_calls);

    // The listing is sorted and shows first lines; a help text that does not start with the name gets
    // the name ahead of it.
    std::string listing;
    {
        CoutCapture out;
        EXPECT_TRUE(pShell->execute("help"));
        listing = out.text();
    }
    size_t const echo = listing.find("t1Echo <text>...\n");
    size_t const fail = listing.find("t1Fail - fail always\n");
    size_t const nested = listing.find("t1Nested\n");
    ASSERT_NE(std::string::npos, nested) << listing;
    EXPECT_LT(echo, fail);
    EXPECT_LT(fail, nested);
    EXPECT_EQ(std::string::npos, listing.find("print the arguments"));
    {
        CoutCapture out;
        EXPECT_TRUE(pShell->execute("help t1Echo"));
        EXPECT_FALSE(pShell->execute("help t1Missing"));
        EXPECT_EQ("t1Echo <text>...\n\tprint the arguments\nUnknown command \"t1Missing\", try help\n", out.text());
    }
}
