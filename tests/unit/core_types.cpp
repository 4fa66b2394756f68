#include "core_pdlfixture.h"

namespace
{
std::vector<std::string> walk(PDLVariantIteratorCont it, PDLVariantIteratorCont const& end)
{
    std::vector<std::string> texts;
    for (int guard = 0; it != end && guard < 100; ++it, ++guard)
    {
        texts.push_back((*it).getString());
    }
    return texts;
}

std::vector<std::string> walk(PDLType const& type, std::string const& mapping)
{
    return walk(type.begin(mapping), type.end(mapping));
}

PDLValMapping* row(PDLVariant const& value, std::vector<PDLVariant> mapped)
{
    return new PDLValMapping(value, new std::vector<PDLVariant>(std::move(mapped)));
}

using Texts = std::vector<std::string>;
} // namespace

TEST_F(PDLTest, PlainTypeHasOneListAndNoMappings)
{
    PDLType type("Level", new std::vector<PDLVariant>{PDLVariant(true), PDLVariant(2), PDLVariant("three"),
                                                      PDLVariant(4.5f), PDLVariant("five")});
    // The number of lists, not of values.
    EXPECT_EQ(1, type.getCount());
    EXPECT_EQ("Level", type.getName());
    EXPECT_EQ(Texts({"ON", "2", "three", PDLVariant(4.5f).getString(), "five"}), walk(type, ""));

    // Membership by value equality: Int 1 is true.
    EXPECT_TRUE(type.isElementIn(PDLVariant(1), ""));
    EXPECT_TRUE(type.isElementIn(PDLVariant("2"), ""));
    EXPECT_FALSE(type.isElementIn(PDLVariant(), ""));
    PDLType texts("Texts", new std::vector<PDLVariant>{PDLVariant("a"), PDLVariant("b")});
    EXPECT_TRUE(texts.isElementIn(PDLVariant("b"), ""));
    EXPECT_FALSE(texts.isElementIn(PDLVariant("c"), ""));

    // An Invalid is translated silently even without mappings.
    uint32_t const errors = PDLParseInfo::m_errorCount;
    EXPECT_EQ(PDLVariant::eInvalid, type.getMappedValue(PDLVariant(), "fid").getKind());
    EXPECT_EQ("", logText());
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);

    EXPECT_EQ(PDLVariant::eInvalid, type.getMappedValue(PDLVariant(2), "fid").getKind());
    EXPECT_EQ("\nERROR:\ntype Level has no mappings\n\n", logText());
    m_log.str("");
    EXPECT_EQ(nullptr, type.getValueVector("fid"));
    EXPECT_EQ("\nERROR:\ntype Level has no mappings\n\n", logText());
    m_log.str("");
    EXPECT_FALSE(type.isElementIn(PDLVariant(2), "fid"));
    EXPECT_EQ("\nERROR:\ntype Level has no mappings\n\n", logText());

    // begin reports both, and the iteration is empty.
    m_log.str("");
    PDLVariantIteratorCont begin = type.begin("fid");
    EXPECT_EQ("\nERROR:\ntype Level has no mappings\n\n\nERROR:\nmapping fid not found\n\n", logText());
    EXPECT_TRUE(begin == type.end("fid"));
    EXPECT_EQ(errors + 7, PDLParseInfo::m_errorCount);
}

TEST_F(PDLTest, MappedTypeTranslatesByTextAndReportsMissingValues)
{
    auto* pRows = new PDLMappedValueList();
    pRows->push_back(row(PDLVariant(1), {PDLVariant("A1"), PDLVariant("B1"), PDLVariant("C1")}));
    pRows->push_back(row(PDLVariant(2), {PDLVariant("A2"), PDLVariant("B2")}));
    pRows->push_back(row(PDLVariant(3), {PDLVariant("A3"), PDLVariant(), PDLVariant("C3")}));
    pRows->push_back(row(PDLVariant(4), {PDLVariant("A4"), PDLVariant("B4"), PDLVariant("C4")}));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLType type("Map", new std::vector<std::string>{"a", "b", "c"}, pRows);

    // An explicit Invalid is reported like a missing value; each ends its mapping's walk.
    EXPECT_EQ("\nERROR:\nType Map is missing a value mapping for value \"3\", mapping \"b\"\n\n"
              "\nERROR:\nType Map is missing a value mapping for value \"2\", mapping \"c\"\n\n",
              logText());
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    EXPECT_EQ(4, type.getCount());
    EXPECT_EQ(Texts({"1", "2", "3", "4"}), walk(type, ""));
    EXPECT_EQ(Texts({"A1", "A2", "A3", "A4"}), walk(type, "a"));
    EXPECT_EQ(Texts({"B1", "B2", "", ""}), walk(type, "b"));
    EXPECT_EQ(Texts({"C1", "", "", ""}), walk(type, "c"));
    EXPECT_EQ(PDLVariant::eInvalid, type.getValueVector("c")->at(3).getKind());

    // Lookup by text: String "2" finds Int 2; Float 1.0 is "1.0000" and found nowhere.
    m_log.str("");
    EXPECT_EQ(PDLVariant("A2"), type.getMappedValue(PDLVariant("2"), "a"));
    EXPECT_EQ(PDLVariant("B1"), type.getMappedValue(PDLVariant(1), "b"));
    EXPECT_EQ(PDLVariant::eInvalid, type.getMappedValue(PDLVariant(4), "c").getKind());
    EXPECT_EQ("", logText());
    EXPECT_EQ(PDLVariant::eInvalid, type.getMappedValue(PDLVariant(1.0f), "a").getKind());
    EXPECT_EQ("\nERROR:\nmapping a not found\n\n", logText());
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, type.getMappedValue(PDLVariant(1), "z").getKind());
    EXPECT_EQ("\nERROR:\nmapping z not found\n\n", logText());

    // Membership in a mapping by equality; unknown mappings are reported.
    m_log.str("");
    EXPECT_TRUE(type.isElementIn(PDLVariant("A3"), "a"));
    EXPECT_FALSE(type.isElementIn(PDLVariant("A3"), "b"));
    EXPECT_EQ("", logText());
    EXPECT_FALSE(type.isElementIn(PDLVariant("A3"), "z"));
    EXPECT_EQ("\nERROR:\nmapping z not found\n\n", logText());
    ASSERT_NE(nullptr, type.getMappingNames());
    EXPECT_EQ(3u, type.getMappingNames()->size());
}

TEST_F(PDLTest, RowsWithTheSameTextKeepBothValuesButTheLaterIndex)
{
    auto* pRows = new PDLMappedValueList();
    pRows->push_back(row(PDLVariant("x"), {PDLVariant("first")}));
    pRows->push_back(row(PDLVariant("y"), {PDLVariant("middle")}));
    pRows->push_back(row(PDLVariant("x"), {PDLVariant("second")}));
    PDLType type("Dup", new std::vector<std::string>{"m"}, pRows);
    EXPECT_EQ(PDLVariant("second"), type.getMappedValue(PDLVariant("x"), "m"));
    EXPECT_EQ(Texts({"x", "y", "x"}), walk(type, ""));
    EXPECT_EQ(Texts({"first", "middle", "second"}), walk(type, "m"));
    // Iterators stay usable after the type handed out others.
    PDLVariantIteratorCont it = type.begin("");
    PDLVariantIteratorCont other = type.begin("");
    ++other;
    EXPECT_EQ(PDLVariant("x"), *it);
    EXPECT_EQ(PDLVariant("y"), *other);
}

TEST_F(PDLTest, TypeDumpListsValuesAndMappings)
{
    auto* pRows = new PDLMappedValueList();
    pRows->push_back(row(PDLVariant(1), {PDLVariant("a.b"), PDLVariant("One")}));
    pRows->push_back(row(PDLVariant(2), {PDLVariant("c.d"), PDLVariant("Two")}));
    PDLType mapped("Map", new std::vector<std::string>{"fid", "text"}, pRows);
    PDLType plain("Mode", new std::vector<PDLVariant>{PDLVariant("off"), PDLVariant("on")});

    CoutCapture out;
    mapped.dump();
    plain.dump();
    std::cout << std::setw(3) << 7;
    EXPECT_EQ("Name:   Map\n"
              "Values: 1 2 \n"
              "Mappings:\n"
              "   fid:      a.b c.d \n"
              "   text:     One Two \n"
              "\n"
              "Name:   Mode\n"
              "Values: off on \n"
              "\n"
              "  7",
              out.text());
}
