#include "core_expression_helpers.h"

namespace
{
using Texts = std::vector<std::string>;

// The texts of a set expression's elements in iteration order (bounded, in case the end is never met).
Texts walk(PDLSetExp const& set)
{
    Texts texts;
    PDLVariantIteratorCont const last = set.end();
    int guard = 0;
    for (PDLVariantIteratorCont it = set.begin(); it != last && guard < 100; ++it, ++guard)
    {
        texts.push_back((*it).getString());
    }
    return texts;
}

class SetExpressionTest : public PDLTest
{
protected:
    void SetUp() override
    {
        PDLTest::SetUp();
        // Colors: red, green, blue; mapping "code" 1, 2, 3 and "name" "Rot", "Gruen", "Blau".
        auto* pRows = new PDLMappedValueList();
        pRows->push_back(new PDLValMapping(PDLVariant("red"), values({PDLVariant(1), PDLVariant("Rot")})));
        pRows->push_back(
            new PDLValMapping(PDLVariant("green"), values({PDLVariant(2), PDLVariant("Gruen")})));
        pRows->push_back(new PDLValMapping(PDLVariant("blue"), values({PDLVariant(3), PDLVariant("Blau")})));
        m_module.registerType(new PDLType("Colors", new std::vector<std::string>{"code", "name"}, pRows));
        g_pCurrentModule = &m_module;
    }

    template <class T>
    T* bound(T* pSet, bool noEventRegistration = false)
    {
        m_trees.emplace_back(pSet);
        pSet->setContext(&m_context, noEventRegistration);
        return pSet;
    }

    PDLModule m_module{nullptr, UniqueModuleID(1, 2, 3), 0, 0, nullptr, ""};
    ModuleTestContext m_context;
    std::vector<std::unique_ptr<PDLBaseExpression>> m_trees;
};
} // namespace

TEST_F(SetExpressionTest, SingleValueRunsOnceEvenWhenInvalid)
{
    int runs = 0;
    PDLSetExpSingleValue single(new FixedExpression(PDLVariant(), &runs));
    int rounds = 0;
    PDLVariantIteratorCont const last = single.end();
    for (PDLVariantIteratorCont it = single.begin(); it != last && rounds < 10; ++it)
    {
        EXPECT_EQ(PDLVariant::eInvalid, (*it).getKind());
        ++rounds;
    }
    EXPECT_EQ(1, rounds);
    EXPECT_EQ(1, runs);
    EXPECT_EQ(1, single.getCount());
    EXPECT_EQ(PDLBaseExpression::eTypeSet, single.getType());
    // Membership of an Invalid is false before the value is even looked at.
    EXPECT_FALSE(single.isElement(PDLVariant()));
    EXPECT_EQ(1, runs);

    // Each begin evaluates anew; the value survives the end of the walk.
    PDLSetExpSingleValue five(num(5));
    PDLVariantIteratorCont it = five.begin();
    EXPECT_EQ(5, (*it).getInt());
    PDLVariantIteratorCont const copy = it;
    ++it;
    EXPECT_TRUE(it == five.end());
    EXPECT_FALSE(copy == five.end());
    EXPECT_EQ(5, (*it).getInt());
    EXPECT_EQ(Texts({"5"}), walk(five));
    EXPECT_TRUE(five.isElement(PDLVariant("5")));
    EXPECT_TRUE(five.isElement(PDLVariant(true)));
    EXPECT_FALSE(five.isElement(PDLVariant(6)));
    EXPECT_EQ("", five.getTypeName());
    EXPECT_EQ("", logText());
}

TEST_F(SetExpressionTest, SingleValueOfAVariableCarriesItsType)
{
    PDLVariableSimple* pColor = m_context.declare(simpleVar("color", eScopeModule, "Colors"));
    pColor->setValue(PDLVariant("green"));
    auto* pSingle = bound(new PDLSetExpSingleValue(new PDLExpressionVariable(ref("color"), nullptr)), true);
    EXPECT_TRUE(m_context.m_registrations.empty());
    EXPECT_EQ("Colors", pSingle->getTypeName());
    EXPECT_EQ(pColor, pSingle->getExpressionVariable().m_pVariable);
    EXPECT_EQ(Texts({"green"}), walk(*pSingle));

    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLSetExpSingleValue empty(nullptr);
    EXPECT_FALSE(empty.isElement(PDLVariant(1)));
    EXPECT_EQ(Texts({}), walk(empty));
    EXPECT_EQ("", empty.getTypeName());
    EXPECT_EQ(nullptr, empty.getExpressionVariable().m_pVariable);
    EXPECT_EQ(2, countInLog("FATAL:\nm_pSingleValue\n"));
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
}

TEST_F(SetExpressionTest, ConstantSetsUseTheCrossKindEquality)
{
    PDLSetExpConstSet numbers(values({PDLVariant(1), PDLVariant(2)}));
    EXPECT_TRUE(numbers.isElement(PDLVariant(true)));
    EXPECT_TRUE(numbers.isElement(PDLVariant("2")));
    EXPECT_FALSE(numbers.isElement(PDLVariant(1.0f)));
    EXPECT_FALSE(numbers.isElement(PDLVariant(3)));
    EXPECT_FALSE(numbers.isElement(PDLVariant()));
    EXPECT_EQ(2, numbers.getCount());
    EXPECT_EQ("", numbers.getTypeName());
    EXPECT_EQ(Texts({"1", "2"}), walk(numbers));
    // Walks can be repeated and run side by side.
    EXPECT_EQ(Texts({"1", "2"}), walk(numbers));
    PDLSetExpConstSet withInvalid(values({PDLVariant(), PDLVariant("x")}));
    EXPECT_FALSE(withInvalid.isElement(PDLVariant()));

    PDLSetExpConstSet none;
    PDLSetExpConstSet nothing(nullptr);
    PDLSetExpConstSet emptyVector(values({}));
    EXPECT_EQ(0, none.getCount());
    EXPECT_EQ(0, emptyVector.getCount());
    EXPECT_FALSE(nothing.isElement(PDLVariant(1)));
    EXPECT_EQ(Texts({}), walk(none));
    EXPECT_EQ(Texts({}), walk(emptyVector));

    CoutCapture out;
    numbers.dump();
    none.dump();
    PDLSetExpConstSet(values({PDLVariant("a"), PDLVariant(0.5f), PDLVariant(false)})).dump();
    EXPECT_EQ("{ 1, 2 }\n{  }\n{ a, 0.5000, OFF }\n", out.text());
    EXPECT_EQ("", logText());
}

TEST_F(SetExpressionTest, TypeSetsIterateAndTestThroughMappings)
{
    PDLSetExpType plain("Colors", nullptr);
    EXPECT_EQ(Texts({"red", "green", "blue"}), walk(plain));
    EXPECT_TRUE(plain.isElement(PDLVariant("green")));
    EXPECT_FALSE(plain.isElement(PDLVariant(2)));
    EXPECT_FALSE(plain.isElement(PDLVariant()));
    // Mappings plus one, not the number of values.
    EXPECT_EQ(3, plain.getCount());
    EXPECT_EQ("Colors", plain.getTypeName());

    PDLSetExpType codes("Colors", str("code"));
    EXPECT_EQ(Texts({"1", "2", "3"}), walk(codes));
    EXPECT_TRUE(codes.isElement(PDLVariant(2)));
    EXPECT_TRUE(codes.isElement(PDLVariant("3")));
    EXPECT_FALSE(codes.isElement(PDLVariant("green")));

    // The mapping name is itself an expression.
    PDLSetExpType names("Colors", new PDLExpressionAppend(str("na"), str("me")));
    EXPECT_EQ(Texts({"Rot", "Gruen", "Blau"}), walk(names));

    // An Invalid mapping name: no member at all, but the walk reads it as no mapping.
    PDLSetExpType broken("Colors", invalid());
    EXPECT_FALSE(broken.isElement(PDLVariant("red")));
    EXPECT_EQ(Texts({"red", "green", "blue"}), walk(broken));
    EXPECT_EQ("", logText());

    // A type unknown when the set was built.
    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLSetExpType unknown("Shapes", nullptr);
    EXPECT_FALSE(unknown.isElement(PDLVariant("red")));
    EXPECT_EQ(0, unknown.getCount());
    EXPECT_EQ(Texts({}), walk(unknown));
    EXPECT_EQ("", unknown.getTypeName());
    EXPECT_EQ(4, countInLog("FATAL:\nm_pType\n"));
    EXPECT_EQ(errors + 4, PDLParseInfo::m_errorCount);

    // Without a module being loaded no type is found.
    g_pCurrentModule = nullptr;
    PDLSetExpType loose("Colors", nullptr);
    EXPECT_EQ("", loose.getTypeName());
}

TEST_F(SetExpressionTest, VariableSetsFollowTheirVariable)
{
    PDLVariableSet* pSet = m_context.declare(setVar("members", eScopeModule, "Colors"));
    PDLVariableArray* pArr = m_context.declare(arrayVar("rows"));
    m_context.declare(simpleVar("single"));
    pSet->addValue(PDLVariant(10));
    pSet->addValue(PDLVariant(2));
    pSet->addValue(PDLVariant(1));
    pArr->setValueAtIndex(PDLVariant("b"), PDLVariant("B"));
    pArr->setValueAtIndex(PDLVariant("a"), PDLVariant("A"));

    auto* pMembers = bound(new PDLSetExpVariable(ref("members"), nullptr));
    EXPECT_EQ(PDLBaseExpression::eTypeSet, pMembers->getType());
    EXPECT_EQ(Registrations({{"members", false}}), m_context.m_registrations);
    // Elements in the order of their texts.
    EXPECT_EQ(Texts({"1", "10", "2"}), walk(*pMembers));
    EXPECT_EQ(3, pMembers->getCount());
    EXPECT_TRUE(pMembers->isElement(PDLVariant("10")));
    EXPECT_FALSE(pMembers->isElement(PDLVariant(3)));
    EXPECT_FALSE(pMembers->isElement(PDLVariant()));
    EXPECT_EQ("Colors", pMembers->getTypeName());
    EXPECT_EQ(pSet, pMembers->getExpressionVariable().m_pVariable);
    // The set is read as it is now.
    pSet->removeValue(PDLVariant(10));
    EXPECT_EQ(Texts({"1", "2"}), walk(*pMembers));
    pSet->setTypeName("Other");
    EXPECT_EQ("Other", pMembers->getTypeName());

    auto* pRows = bound(new PDLSetExpVariable(arrayRef("rows"), nullptr), true);
    EXPECT_EQ(PDLBaseExpression::eTypeArray, pRows->getType());
    EXPECT_EQ(Texts({"A", "B"}), walk(*pRows));
    EXPECT_TRUE(pRows->isElement(PDLVariant("B")));
    EXPECT_FALSE(pRows->isElement(PDLVariant("b")));
    EXPECT_EQ(2, pRows->getCount());
    EXPECT_EQ("", logText());

    // A simple variable is no collection.
    auto* pSingle = bound(new PDLSetExpVariable(ref("single"), nullptr));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_FALSE(pSingle->isElement(PDLVariant(1)));
    EXPECT_EQ("\nERROR:\nVariable single is not an array/set variable!\n\n", logText());
    EXPECT_EQ(errors + 1, PDLParseInfo::m_errorCount);

    // An unknown name: every operation but the count names the missing variable.
    m_log.str("");
    auto* pUnknown = bound(new PDLSetExpVariable(ref("nope"), nullptr));
    EXPECT_EQ(1, countInLog("undeclared variable nope"));
    m_log.str("");
    EXPECT_EQ(0, pUnknown->getCount());
    EXPECT_EQ("", logText());
    EXPECT_FALSE(pUnknown->isElement(PDLVariant(1)));
    EXPECT_EQ(Texts({}), walk(*pUnknown));
    EXPECT_EQ("", pUnknown->getTypeName());
    EXPECT_EQ(4, countInLog("FATAL:\nm_pVariable\n"));
}

TEST_F(SetExpressionTest, VariableSetWithAnInvalidMappingHasNoMembers)
{
    PDLVariableSet* pSet = m_context.declare(setVar("members", eScopeModule, "Colors"));
    pSet->addValue(PDLVariant("red"));
    auto* pMapped = bound(new PDLSetExpVariable(ref("members"), invalid()));
    EXPECT_FALSE(pMapped->isElement(PDLVariant("red")));
    // The walk takes the Invalid name as no mapping.
    EXPECT_EQ(Texts({"red"}), walk(*pMapped));
    EXPECT_EQ("", logText());
}
