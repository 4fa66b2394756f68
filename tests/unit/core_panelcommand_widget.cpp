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

TEST_F(PhysicalWidgetTest, AttributesKeepValuesScalersAndConnectionsByName)
{
    PDLPhysicalWidget* pWidget = m_pWidgets->getWidget(UniqueWidgetID(0, 0, 1, 1));
    ASSERT_NE(nullptr, pWidget);
    EXPECT_EQ(PDLVariant::eInvalid, pWidget->getAttributeValue("LABEL").getKind());

    // A scaler is kept until replaced; setting the same one again keeps it alive.
    PDLScaler* pFirst = PDLScaler::create("PERCENT");
    pWidget->setScaler("LABEL", pFirst);
    pWidget->setScaler("LABEL", pFirst);
    EXPECT_EQ(pFirst, pWidget->getScaler("LABEL"));
    PDLScaler* pSecond = PDLScaler::create("TESTSCALER");
    pWidget->setScaler("LABEL", pSecond);
    EXPECT_EQ(pSecond, pWidget->getScaler("LABEL"));
    EXPECT_EQ(nullptr, pWidget->getScaler("COLOR"));

    // A connect keeps the scaler; a second one moves the attribute.
    pWidget->connect("LABEL", "A.B");
    pWidget->connect("LABEL", "A.C");
    EXPECT_EQ("A.C", pWidget->getConnection("LABEL"));
    EXPECT_EQ(pSecond, pWidget->getScaler("LABEL"));

    // A plain write ends connection and scaler of that attribute only.
    pWidget->setScaler("COLOR", PDLScaler::create("PERCENT"));
    pWidget->connect("COLOR", "A.D");
    pWidget->setAttributeValue("LABEL", PDLVariant("x"));
    EXPECT_EQ("x", pWidget->getAttributeValue("LABEL").getString());
    EXPECT_EQ("", pWidget->getConnection("LABEL"));
    EXPECT_EQ(nullptr, pWidget->getScaler("LABEL"));
    EXPECT_EQ("A.D", pWidget->getConnection("COLOR"));
    EXPECT_NE(nullptr, pWidget->getScaler("COLOR"));
    // The COLOR scaler goes with the widget.
}
