// Loading and binding a module's source: built-ins, failed loads that keep what was filled, and the line
// table after discarded commands. Reload, unload and includes are shown by the module and enciphered
// source scenarios.

#include "core_command_helpers.h"
#include "core_pdlfixture.h"

#include "pdlmodule.h"
#include "pdlmodulemanager.h"
#include "pdlscanner.h"
#include "pdlwidgetclasses.h"

#include <iostream>
#include <memory>

namespace
{
// Redirects std::cerr into a string for its lifetime.
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

class ModuleLoadTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        std::filesystem::create_directories(m_directory / "config" / "PDL");
        m_global.reset(new PDLGlobal());
        m_workplace.reset(new PDLWorkplace(m_global.get(), 1));
        m_group.reset(new PDLGroup(m_workplace.get(), 1, 2));
        m_module.reset(new PDLModule(m_group.get(), UniqueModuleID(1, 2, 3), 5, 6, nullptr, ""));
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
    rtk::Path base() const { return rtk::Path((m_directory / "config").string()); }
    std::string full(std::string const& name) const { return (m_directory / "config" / name).string(); }
    // Positions of the texts in the log, in the order given; -1 for a text not found after the last.
    std::vector<long> positions(std::vector<std::string> const& texts) const
    {
        std::string const log = logText();
        std::vector<long> result;
        size_t from = 0;
        for (std::string const& text : texts)
        {
            size_t const pos = log.find(text, from);
            result.push_back(pos == std::string::npos ? -1 : static_cast<long>(pos));
            from = pos == std::string::npos ? from : pos + text.size();
        }
        return result;
    }
    std::unique_ptr<PDLGlobal> m_global;
    std::unique_ptr<PDLWorkplace> m_workplace;
    std::unique_ptr<PDLGroup> m_group;
    std::unique_ptr<PDLModule> m_module;
};
} // namespace

TEST_F(ModuleLoadTest, EmptySourceLoadsAndBuiltInsAppear)
{
    writeFile("config/PDL/a.pdl", "");
    EXPECT_FALSE(m_module->isLoaded());
    PDLParseInfo::m_errorCount = 4;
    ASSERT_TRUE(m_module->load(base(), "PDL/a.pdl"));
    EXPECT_EQ(0u, PDLParseInfo::m_errorCount);
    EXPECT_TRUE(m_module->isLoaded());
    EXPECT_EQ(full("PDL/a.pdl"), m_module->getSourcePath().getString());
    EXPECT_EQ("PDL/a.pdl", m_module->getSourceName());
    EXPECT_EQ(m_module.get(), g_pCurrentModule);
    EXPECT_EQ(full("PDL/a.pdl"), g_lexFilePath.getString());
    EXPECT_EQ("a.pdl", m_module->getFileName().getString());
    EXPECT_EQ(1, m_module->getLine());
    std::vector<long> const at =
        positions({"  Loading module 1.2.3 PDL code  from file \"" + full("PDL/a.pdl") + "\"...\n",
                   "  Module 1.2.3 Load OK\n"});
    EXPECT_NE(-1, at[0]) << logText();
    EXPECT_NE(-1, at[1]) << logText();
    PDLSymbolTable* pTable = m_module->getSymbolTable();
    EXPECT_EQ(3u, pTable->getVariables().size());
    EXPECT_EQ(3, pTable->getVariable("module_id")->getValue("", false).getInt());
    EXPECT_EQ(5, pTable->getVariable("conn_port")->getValue("", false).getInt());
    EXPECT_EQ(6, pTable->getVariable("conn_connector")->getValue("", false).getInt());
    EXPECT_EQ(std::string(15, ' ').size(), m_module->getKey().size());
    EXPECT_EQ("MyHiddenKey0x7F", m_module->getKey());
}

TEST_F(ModuleLoadTest, SyntaxErrorFailsTheLoadAndKeepsWhatWasFilled)
{
    writeFile("config/PDL/bad.pdl", "@T { 1 }\nwidget 1\n");
    CerrCapture err;
    ASSERT_FALSE(m_module->load(base(), "PDL/bad.pdl"));
    EXPECT_EQ(full("PDL/bad.pdl") + "(2): syntax error, unexpected NUMBER, expecting '$'\n", err.text());
    EXPECT_EQ(1u, PDLParseInfo::m_errorCount);
    EXPECT_EQ(0, countInLog("Load OK"));
    EXPECT_TRUE(m_module->isLoaded());
    EXPECT_TRUE(m_module->getSymbolTable()->hasVariable("conn_port"));
    // The type before the faulty item took effect and stays.
    EXPECT_TRUE(m_module->hasType("T"));
    // The line count goes on from where the last parse ended.
    CerrCapture again;
    ASSERT_FALSE(m_module->load(base(), "PDL/bad.pdl"));
    EXPECT_EQ(full("PDL/bad.pdl") + "(3): syntax error, unexpected NUMBER, expecting '$'\n", again.text());
}

TEST_F(ModuleLoadTest, BindingFaultsFailACleanParse)
{
    writeFile("config/PDL/a.pdl", "");
    m_module->addWidget(new PDLWidget(m_module.get(), "", 4, nullptr, nullptr));
    // The widget reports its missing code when it is made, and the binding reports it once more.
    int const reportedAtConstruction = countInLog("m_pWidgetCode");
    std::vector<std::string> journal;
    RecordingCommand* pCode = new RecordingCommand(&journal, "init");
    m_module->addInitSection(new PDLInitSection(m_module.get(), nullptr, block({pCode})));
    // A load that does not unload first binds what is already there.
    ASSERT_FALSE(m_module->load(base(), "PDL/a.pdl"));
    EXPECT_EQ(reportedAtConstruction + 1, countInLog("m_pWidgetCode"));
    EXPECT_EQ(1u, PDLParseInfo::m_errorCount);
    EXPECT_EQ(1, pCode->m_bindings);
    EXPECT_TRUE(journal.empty());
    // init runs the init sections, and the INIT event reaches the widgets.
    m_module->init();
    EXPECT_EQ(std::vector<std::string>{"init"}, journal);
}

TEST_F(ModuleLoadTest, DiscardedCommandsLeaveTheLineTable)
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
    EXPECT_FALSE(m_module->load(base(), "PDL/bad.pdl"));
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
