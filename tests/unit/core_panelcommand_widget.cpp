#include "core_pdlfixture.h"

#include "pdlinterpreter.h"
#include "pdlphysicalwidget.h"
#include "pdlscaler.h"

#include <string>

namespace
{
class PhysicalWidgetTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        m_pWidgets = PDLPhysicalWidgetManager::createInstance();
    }

    void TearDown() override
    {
        PDLPhysicalWidgetManager::destroyInstance();
        PDLTest::TearDown();
    }

    PDLPhysicalWidgetManager* m_pWidgets = nullptr;
};
} // namespace

TEST_F(PhysicalWidgetTest, GetWidgetMakesAMissingWidgetOnce)
{
    PDLInterpreter::s_logLevel = 5;
    uint32_t const errors = PDLParseInfo::m_errorCount;
    UniqueWidgetID const id(1, 2, 3, 4);
    EXPECT_EQ(nullptr, m_pWidgets->findWidget(id));

    // No hardware side yet: the widget is made all the same, after a failed check.
    PDLPhysicalWidget* pWidget = m_pWidgets->getWidget(id.getValue());
    ASSERT_NE(nullptr, pWidget);
    EXPECT_EQ(id, pWidget->getID());
    EXPECT_EQ("\nDEBUG1:\nwidget id 1.2.3.4 not found (not defined in MHL file "
              "?)\n\n\nFATAL:\nm_iPanelFeedback\n\n",
              logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);

    m_log.str("");
    EXPECT_EQ(pWidget, m_pWidgets->getWidget(id));
    EXPECT_EQ(pWidget, m_pWidgets->findWidget(id));
    EXPECT_EQ("", logText());
}
