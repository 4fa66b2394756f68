// Variables of every container kind: the write rules and change flags, listeners and reset, arrays and
// sets keyed by text, copies between containers, misuse reports; and types with their mappings.

#include "core_pdlfixture.h"

#include "pdlpersistentvarmanager.h"

namespace
{
using Texts = std::vector<std::string>;
PDLVariableSimple* simple(std::string const& name, EScope scope = eScopeModule, bool generateEvents = true,
                          bool readOnly = false)
{
    return new PDLVariableSimple(scope, "", name, generateEvents, readOnly, false, false);
}

PDLVariableArray* array(std::string const& name, EScope scope = eScopeModule, bool persistent = false)
{
    return new PDLVariableArray(scope, "", name, true, false, false, persistent);
}

PDLVariableSet* set(std::string const& name, EScope scope = eScopeModule)
{
    return new PDLVariableSet(scope, "", name, true, false, false, false);
}

Texts walk(PDLVariantIteratorCont it, PDLVariantIteratorCont const& end)
{
    Texts texts;
    for (int guard = 0; it != end && guard < 100; ++it, ++guard)
    {
        texts.push_back((*it).getString());
    }
    return texts;
}

Texts keys(std::map<std::string, PDLVariant> const& elements)
{
    Texts texts;
    for (auto const& element : elements)
    {
        texts.push_back(element.first);
    }
    return texts;
}

std::string dumped(PDLVariant const& value)
{
    std::ostringstream out;
    value.dump(out);
    return out.str();
}
// Stand-ins for listeners; only their addresses are used.
int g_listeners[4];

PDLWidget* widget(int i)
{
    return reinterpret_cast<PDLWidget*>(&g_listeners[i]);
}

PDLSequence* sequence(int i)
{
    return reinterpret_cast<PDLSequence*>(&g_listeners[i]);
}
} // namespace

TEST_F(PDLTest, SimpleVariablesStoreOnlyWhatDiffers)
{
    // A plain write compares by value equality across kinds; the typed setters by kind and value.
    struct Row
    {
        PDLVariant before;
        char setter; // 'v' setValue, 'i' setValueInt, 'f' setValueFloat, 'b' setValueBool, 's' setValueString
        PDLVariant written;
        char const* pAfter;
        bool changed;
    };
    std::vector<Row> const rows = {
        {PDLVariant(), 'v', PDLVariant(1), "Variant int 1", true},
        {PDLVariant(1), 'v', PDLVariant(true), "Variant int 1", false},
        {PDLVariant(1), 'v', PDLVariant("1"), "Variant int 1", false},
        {PDLVariant(1), 'v', PDLVariant(1.0f), "Variant float 1.0000", true},
        {PDLVariant(1), 'v', PDLVariant(), "Variant invalid", true},
        {PDLVariant(), 'v', PDLVariant(), "Variant invalid", false},
        {PDLVariant(true), 'v', PDLVariant("ON"), "Variant bool ON", false},
        {PDLVariant(1), 'b', PDLVariant(true), "Variant bool ON", true},
        {PDLVariant(true), 'b', PDLVariant(true), "Variant bool ON", false},
        {PDLVariant(1.0f), 'f', PDLVariant(1.0f), "Variant float 1.0000", false},
        {PDLVariant(1.0f), 'i', PDLVariant(1), "Variant int 1", true},
        {PDLVariant(1), 'i', PDLVariant(1), "Variant int 1", false},
        {PDLVariant(2), 's', PDLVariant("2"), "Variant string 2", true},
        {PDLVariant("2"), 's', PDLVariant("2"), "Variant string 2", false},
    };
    for (Row const& row : rows)
    {
        SCOPED_TRACE(dumped(row.before) + " <- " + row.setter + " " + dumped(row.written));
        std::unique_ptr<PDLVariableSimple> pVar(simple("v"));
        pVar->setValue(row.before);
        pVar->clearChangeFlag();
        switch (row.setter)
        {
        case 'v':
            pVar->setValue(row.written);
            break;
        case 'i':
            pVar->setValueInt(row.written.getInt());
            break;
        case 'f':
            pVar->setValueFloat(row.written.getFloat());
            break;
        case 'b':
            pVar->setValueBool(row.written.getBool());
            break;
        default:
            pVar->setValueString(row.written.getString());
            break;
        }
        EXPECT_EQ(row.pAfter, dumped(pVar->getValue("", false)));
        EXPECT_EQ(row.changed, pVar->isChanged());
    }
    // Reading an invalid value warns only when asked, and does not count; setInvalid raises no flag.
    std::unique_ptr<PDLVariableSimple> pVar(simple("n"));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    pVar->getValue("", false);
    EXPECT_EQ("", logText());
    pVar->getValue("", true);
    EXPECT_EQ("\nWARNING:\nVariable n is invalid\n\n", logText());
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
    pVar->setValue(PDLVariant(3));
    pVar->clearChangeFlag();
    pVar->setInvalid();
    EXPECT_FALSE(pVar->isValid());
    EXPECT_FALSE(pVar->isChanged());
}

TEST_F(PDLTest, ChangedVariablesReachTheEventManagerOnceAndOnlyWhenListenable)
{
    PDLEventManager::createInstance();
    PDLEventManager* pManager = PDLEventManager::getInstance();
    PDLInterpreter::mutexTake();
    PDLVariableSimple* pModule = keep(simple("m"));
    PDLVariableSimple* pGlobal = keep(simple("g", eScopeGlobal));
    PDLVariableSimple* pLocal = keep(simple("l", eScopeLocal));
    PDLVariableSimple* pQuiet = keep(simple("q", eScopeModule, false));
    PDLVariableSimple* pReadOnly = keep(simple("r", eScopeGlobal, true, true));
    PDLVariableArray* pArray = keep(array("a"));
    pModule->setValue(PDLVariant(1));
    pModule->setValue(PDLVariant(2));
    pLocal->setValue(PDLVariant(1));
    pQuiet->setValue(PDLVariant(1));
    pReadOnly->setValue(PDLVariant(1));
    pGlobal->setValueInt(5);
    pArray->setValueAtIndex(PDLVariant(1), PDLVariant(1));
    // Locals and NOEVENTS variables are flagged but never listed; read-only ones are written unflagged.
    EXPECT_TRUE(pLocal->isChanged());
    EXPECT_TRUE(pQuiet->isChanged());
    EXPECT_FALSE(pReadOnly->isChanged());
    EXPECT_EQ(PDLVariant(1), pReadOnly->getValue("", false));
    EXPECT_EQ(std::list<PDLVariable*>({pModule, pGlobal, pArray}), pManager->getChangedVariables());
    // The conversion lowers the flags, so a later change is listed again.
    EXPECT_TRUE(pManager->generateVariableEvents());
    EXPECT_FALSE(pModule->isChanged());
    pModule->setValue(PDLVariant(3));
    EXPECT_EQ(std::list<PDLVariable*>({pModule}), pManager->getChangedVariables());
    EXPECT_TRUE(pManager->generateVariableEvents());
    EXPECT_FALSE(pManager->generateVariableEvents());
    PDLInterpreter::mutexGive();
}

TEST_F(PDLTest, ListenersAndResetFollowTheFlags)
{
    std::unique_ptr<PDLVariableSimple> pNormal(simple("n"));
    std::unique_ptr<PDLVariableSimple> pReadOnly(simple("r", eScopeGlobal, true, true));
    std::unique_ptr<PDLVariableSimple> pQuiet(simple("q", eScopeModule, false));
    for (PDLVariable* pVar :
         {static_cast<PDLVariable*>(pNormal.get()), static_cast<PDLVariable*>(pReadOnly.get()),
          static_cast<PDLVariable*>(pQuiet.get())})
    {
        pVar->registerWidget(widget(0), false);
        pVar->registerWidget(widget(1), true);
        pVar->registerSequence(sequence(2), false);
        pVar->registerSequence(sequence(3), true);
    }
    EXPECT_EQ(std::set<PDLWidget*>({widget(0)}), pNormal->getWidgets());
    EXPECT_EQ(std::set<PDLWidget*>({widget(1)}), pNormal->getWidgetsSeparate());
    EXPECT_EQ(std::set<PDLSequence*>({sequence(2)}), pNormal->getSequences());
    EXPECT_EQ(std::set<PDLSequence*>({sequence(3)}), pNormal->getSequencesSeparate());
    // Read-only and NOEVENTS variables wake nobody.
    EXPECT_TRUE(pReadOnly->getWidgets().empty() && pReadOnly->getSequencesSeparate().empty());
    EXPECT_TRUE(pQuiet->getWidgetsSeparate().empty() && pQuiet->getSequences().empty());
    // Unregistering removes from both sets.
    pNormal->registerWidget(widget(1), false);
    pNormal->unregisterWidget(widget(1));
    pNormal->unregisterSequence(sequence(3));
    EXPECT_EQ(std::set<PDLWidget*>({widget(0)}), pNormal->getWidgets());
    EXPECT_TRUE(pNormal->getWidgetsSeparate().empty());
    EXPECT_TRUE(pNormal->getSequencesSeparate().empty());
    // reset: declared type back, flag down, value gone; read-only ones are left alone.
    PDLVariableSimple typed(eScopeModule, "Mode", "t", true, false, false, false);
    typed.setValue(PDLVariant(1));
    typed.setTypeName("Loop");
    typed.reset();
    EXPECT_EQ("Mode", typed.getTypeName());
    EXPECT_FALSE(typed.isChanged());
    EXPECT_FALSE(typed.isValid());
    pReadOnly->setValue(PDLVariant(9));
    pReadOnly->setTypeName("Loop");
    pReadOnly->reset();
    EXPECT_EQ(PDLVariant(9), pReadOnly->getValue("", false));
    EXPECT_EQ("Loop", pReadOnly->getTypeName());
}

TEST_F(PDLTest, ArraysAreSparseTextKeysThatInvalidErases)
{
    std::unique_ptr<PDLVariableArray> pArr(array("arr"));
    for (int key : {2, 10, 1})
    {
        pArr->setValueAtIndex(PDLVariant(key), PDLVariant(key * 100));
    }
    // Keys in text order; Int 2 and "2" are one element; an equal value keeps the old kind.
    EXPECT_EQ(Texts({"1", "10", "2"}), keys(pArr->getElements()));
    EXPECT_EQ(Texts({"100", "1000", "200"}), walk(pArr->begin(""), pArr->end("")));
    pArr->clearChangeFlag();
    pArr->setValueAtIndex(PDLVariant("2"), PDLVariant("200"));
    EXPECT_FALSE(pArr->isChanged());
    EXPECT_EQ("Variant int 200", dumped(pArr->getValueAtIndex(PDLVariant(2), "", false)));
    pArr->setValueAtIndex(PDLVariant(1.0f), PDLVariant("f"));
    EXPECT_TRUE(pArr->isChanged());
    EXPECT_EQ(Texts({"1", "1.0000", "10", "2"}), keys(pArr->getElements()));
    // Invalid erases the element; an absent one stays absent; an Invalid index does nothing.
    pArr->clearChangeFlag();
    pArr->setValueAtIndex(PDLVariant(1.0f), PDLVariant());
    EXPECT_TRUE(pArr->isChanged());
    EXPECT_EQ(Texts({"1", "10", "2"}), keys(pArr->getElements()));
    pArr->clearChangeFlag();
    pArr->setValueAtIndex(PDLVariant(9), PDLVariant());
    pArr->setValueAtIndex(PDLVariant(), PDLVariant(5));
    EXPECT_FALSE(pArr->isChanged());
    EXPECT_EQ(3, pArr->getCount());
    // Membership tests values, not keys.
    EXPECT_TRUE(pArr->isElementIn(PDLVariant("1000"), ""));
    EXPECT_FALSE(pArr->isElementIn(PDLVariant("10"), ""));
    EXPECT_EQ("", logText());
    // Reads of absent keys warn only when asked; an Invalid index always warns; neither counts.
    uint32_t const errors = PDLParseInfo::m_errorCount;
    pArr->getValueAtIndex(PDLVariant(7), "", false);
    EXPECT_EQ("", logText());
    pArr->getValueAtIndex(PDLVariant(7), "", true);
    pArr->getValueAtIndex(PDLVariant(), "", false);
    EXPECT_EQ("\nWARNING:\nunknown array index 7 for variable arr\n\n"
              "\nWARNING:\naccessing variable arr with invalid index expression\n\n",
              logText());
    EXPECT_EQ(errors, PDLParseInfo::m_errorCount);
    // Clearing keeps the keys with Invalid values; a persistent array drops them.
    pArr->clearChangeFlag();
    pArr->clearAllValues();
    EXPECT_TRUE(pArr->isChanged());
    EXPECT_EQ(Texts({"", "", ""}), walk(pArr->begin(""), pArr->end("")));
    PDLPersistentVarManager::createInstance();
    std::unique_ptr<PDLVariableArray> pKept(array("p", eScopeModule, true));
    pKept->setValueAtIndex(PDLVariant(1), PDLVariant(1));
    pKept->setValueAtIndex(PDLVariant(2), PDLVariant(2));
    pKept->clearAllValues();
    EXPECT_EQ(0, pKept->getCount());
    pKept->setValueAtIndex(PDLVariant(2), PDLVariant(7));
    EXPECT_EQ(Texts({"2"}), keys(pKept->getElements()));
}

// Lookups by number remember where elements are; every way a map loses or replaces elements must
// make them look again. Random operations on a set and an array, including resets, copies over them
// and containers freed and made anew at the same address, are checked against a plain model.
TEST_F(PDLTest, LookupsByNumberFollowEveryChangeOfTheElements)
{
    std::srand(7);
    std::map<std::string, int> setModel;
    std::map<std::string, int> arrayModel;
    alignas(PDLVariableSet) unsigned char setRoom[sizeof(PDLVariableSet)];
    alignas(PDLVariableArray) unsigned char arrayRoom[sizeof(PDLVariableArray)];
    auto* pSet = new (setRoom) PDLVariableSet(eScopeLocal, "", "s", true, false, false, false);
    auto* pArr = new (arrayRoom) PDLVariableArray(eScopeLocal, "", "a", true, false, false, false);
    std::unique_ptr<PDLVariableArray> pOtherArr(array("o", eScopeLocal));
    std::map<std::string, int> otherModel;
    auto indexOf = [](int key) { return key % 3 == 0 ? PDLVariant(std::to_string(key)) : PDLVariant(key); };
    for (int step = 0; step < 20000; ++step)
    {
        int const key = std::rand() % 12;
        int const value = std::rand() % 100;
        std::string const text = std::to_string(key);
        switch (std::rand() % 9)
        {
        case 0:
            pSet->removeValue(indexOf(key));
            setModel.erase(text);
            break;
        case 1:
            pArr->setValueAtIndex(indexOf(key), PDLVariant());
            arrayModel.erase(text);
            break;
        case 2:
            switch (step % 6)
            {
            case 0:
                pSet->~PDLVariableSet();
                pSet = new (setRoom) PDLVariableSet(eScopeLocal, "", "s", true, false, false, false);
                setModel.clear();
                break;
            case 1:
                pArr->~PDLVariableArray();
                pArr = new (arrayRoom) PDLVariableArray(eScopeLocal, "", "a", true, false, false, false);
                arrayModel.clear();
                break;
            case 2:
            {
                // Copied over from a container that lives on: the map's nodes are reused for other keys.
                for (int other = key % 4; other < 12; other += 1 + key % 3)
                {
                    pOtherArr->setValueAtIndex(PDLVariant(other), PDLVariant(value + other));
                    otherModel[std::to_string(other)] = value + other;
                }
                PDLVariableDescription whole(pArr, "");
                pOtherArr->copyTo(whole);
                arrayModel = otherModel;
                break;
            }
            case 3:
                pSet->reset();
                setModel.clear();
                break;
            case 4:
            {
                std::unique_ptr<PDLVariableSet> pOtherSet(set("o", eScopeLocal));
                pOtherSet->addValue(PDLVariant(key));
                PDLVariableDescription whole(pSet, "");
                pOtherSet->copyTo(whole);
                setModel = {{text, key}};
                break;
            }
            default:
                pSet->clearAllValues();
                setModel.clear();
                break;
            }
            break;
        case 3:
        case 4:
            pSet->addValue(PDLVariant(key));
            setModel[text] = key;
            break;
        default:
            pArr->setValueAtIndex(indexOf(key), PDLVariant(value));
            arrayModel[text] = value;
            break;
        }
        for (int probe = 0; probe < 12; ++probe)
        {
            std::string const probeText = std::to_string(probe);
            ASSERT_EQ(setModel.count(probeText) == 1, pSet->isElementIn(PDLVariant(probe), ""))
                << "step " << step << " probe " << probe;
            auto const it = arrayModel.find(probeText);
            ASSERT_EQ(it == arrayModel.end() ? PDLVariant() : PDLVariant(it->second),
                      pArr->getValueAtIndex(PDLVariant(probe), "", false))
                << "step " << step << " probe " << probe;
        }
    }
    pSet->~PDLVariableSet();
    pArr->~PDLVariableArray();
}

TEST_F(PDLTest, CopiesGoOnlyBetweenFittingContainers)
{
    std::unique_ptr<PDLVariableSimple> pSimple(simple("src", eScopeLocal));
    std::unique_ptr<PDLVariableSimple> pOtherSimple(simple("dst"));
    std::unique_ptr<PDLVariableArray> pArr(array("arr", eScopeLocal));
    std::unique_ptr<PDLVariableArray> pOtherArr(array("arr2"));
    std::unique_ptr<PDLVariableArray> pElements(array("arr3"));
    std::unique_ptr<PDLVariableSet> pSet(set("set", eScopeLocal));
    std::unique_ptr<PDLVariableSet> pOtherSet(set("set2"));
    pSimple->setValue(PDLVariant(1));
    pArr->setValueAtIndex(PDLVariant(1), PDLVariant("a"));
    pSet->addValue(PDLVariant("x"));
    struct Row
    {
        PDLVariable* pSource;
        PDLVariable* pTarget;
        char const* pIndex;
        bool copied;
    };
    std::vector<Row> const rows = {
        {pSimple.get(), pOtherSimple.get(), "", true}, {pSimple.get(), pElements.get(), "5", true},
        {pSimple.get(), pOtherArr.get(), "", false},   {pSimple.get(), pOtherSet.get(), "", false},
        {pSimple.get(), nullptr, "", false},           {pArr.get(), pOtherArr.get(), "", true},
        {pArr.get(), pOtherArr.get(), "1", false},     {pArr.get(), pOtherSimple.get(), "", false},
        {pSet.get(), pOtherSet.get(), "", true},       {pSet.get(), pOtherSet.get(), "x", false},
        {pSet.get(), pOtherArr.get(), "", false},
    };
    for (size_t i = 0; i < rows.size(); ++i)
    {
        PDLVariableDescription place(rows[i].pTarget, rows[i].pIndex);
        EXPECT_EQ(rows[i].copied, rows[i].pSource->copyTo(place)) << "row " << i;
    }
    EXPECT_EQ(PDLVariant(1), pOtherSimple->getValue("", false));
    EXPECT_EQ(PDLVariant(1), pElements->getValueAtIndex(PDLVariant(5), "", false));
    EXPECT_EQ(Texts({"x"}), keys(pOtherSet->getElements()));
    // An equal array is left alone.
    EXPECT_TRUE(pArr->isEqual(pOtherArr.get()));
    pOtherArr->clearChangeFlag();
    PDLVariableDescription whole(pOtherArr.get(), "");
    EXPECT_TRUE(pArr->copyTo(whole));
    EXPECT_FALSE(pOtherArr->isChanged());
    // Clones are for locals only and are independent.
    std::unique_ptr<PDLVariable> pClone(pArr->clone());
    ASSERT_NE(nullptr, pClone);
    pClone->setValueAtIndex(PDLVariant(1), PDLVariant("changed"));
    EXPECT_EQ(PDLVariant("a"), pArr->getValueAtIndex(PDLVariant(1), "", false));
    EXPECT_EQ(nullptr, pOtherSimple->clone());
    EXPECT_EQ("\nFATAL:\nm_scope == kScopeLocal\n\n", logText());
}

TEST_F(PDLTest, MisusedContainersAreReported)
{
    std::unique_ptr<PDLVariableSimple> pSimple(simple("v"));
    std::unique_ptr<PDLVariableArray> pArr(array("a"));
    pSimple->setValue(PDLVariant(4));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    pSimple->setValueAtIndex(PDLVariant(1), PDLVariant(2));
    // After the report the plain value is read.
    EXPECT_EQ(PDLVariant(4), pSimple->getValueAtIndex(PDLVariant(1), "", false));
    EXPECT_EQ(1, pSimple->getCount());
    pSimple->addValue(PDLVariant(1));
    pArr->setValue(PDLVariant(1));
    EXPECT_EQ("\nERROR:\nVariable v is not an array variable!\n\n"
              "\nERROR:\nVariable v is not an array variable!\n\n"
              "\nERROR:\nVariable v is not an array/set variable!\n\n"
              "\nFATAL:\nPDLVariable::addValue(): base class version called\n\n"
              "\nFATAL:\nPDLVariable::setValue(): base class version called\n\n",
              logText());
    EXPECT_EQ(errors + 5, PDLParseInfo::m_errorCount);
    EXPECT_EQ(PDLVariant(4), pSimple->getValue("", false));
    // Reading through a mapping needs the module that executes.
    m_log.str("");
    EXPECT_EQ(PDLVariant::eInvalid, pSimple->getValue("fid", false).getKind());
    EXPECT_EQ("\nFATAL:\npModule\n\n", logText());
}

namespace
{
PDLValMapping* row(PDLVariant const& value, std::vector<PDLVariant> mapped)
{
    return new PDLValMapping(value, new std::vector<PDLVariant>(std::move(mapped)));
}
} // namespace

TEST_F(PDLTest, TypesListTheirValuesAndMapThemByText)
{
    PDLType plain("Level", new std::vector<PDLVariant>{PDLVariant(true), PDLVariant(2), PDLVariant("three")});
    // The number of lists, not of values.
    EXPECT_EQ(1, plain.getCount());
    EXPECT_EQ(Texts({"ON", "2", "three"}), walk(plain.begin(""), plain.end("")));
    // Membership by value equality: Int 1 is true.
    EXPECT_TRUE(plain.isElementIn(PDLVariant(1), ""));
    EXPECT_FALSE(plain.isElementIn(PDLVariant(), ""));
    auto* pRows = new PDLMappedValueList();
    pRows->push_back(row(PDLVariant(1), {PDLVariant("A1"), PDLVariant("B1"), PDLVariant("C1")}));
    pRows->push_back(row(PDLVariant(2), {PDLVariant("A2"), PDLVariant("B2")}));
    pRows->push_back(row(PDLVariant(3), {PDLVariant("A3"), PDLVariant(), PDLVariant("C3")}));
    pRows->push_back(row(PDLVariant("x"), {PDLVariant("Ax"), PDLVariant("Bx"), PDLVariant("Cx")}));
    pRows->push_back(row(PDLVariant("x"), {PDLVariant("Ax2"), PDLVariant("Bx2"), PDLVariant("Cx2")}));
    uint32_t const errors = PDLParseInfo::m_errorCount;
    PDLType mapped("Map", new std::vector<std::string>{"a", "b", "c"}, pRows);
    // A missing or Invalid mapped value is reported and ends its mapping's list.
    EXPECT_EQ("\nERROR:\nType Map is missing a value mapping for value \"3\", mapping \"b\"\n\n"
              "\nERROR:\nType Map is missing a value mapping for value \"2\", mapping \"c\"\n\n",
              logText());
    EXPECT_EQ(errors + 2, PDLParseInfo::m_errorCount);
    EXPECT_EQ(4, mapped.getCount());
    EXPECT_EQ(Texts({"1", "2", "3", "x", "x"}), walk(mapped.begin(""), mapped.end("")));
    EXPECT_EQ(Texts({"A1", "A2", "A3", "Ax", "Ax2"}), walk(mapped.begin("a"), mapped.end("a")));
    EXPECT_EQ(Texts({"B1", "B2", "", "", ""}), walk(mapped.begin("b"), mapped.end("b")));
    // By text: String "2" finds Int 2, Float 1.0 ("1.0000") nothing; of equal texts the last row.
    m_log.str("");
    EXPECT_EQ(PDLVariant("A2"), mapped.getMappedValue(PDLVariant("2"), "a"));
    EXPECT_EQ(PDLVariant("C1"), mapped.getMappedValue(PDLVariant(1), "c"));
    EXPECT_EQ(PDLVariant("Ax2"), mapped.getMappedValue(PDLVariant("x"), "a"));
    EXPECT_TRUE(mapped.isElementIn(PDLVariant("A3"), "a"));
    EXPECT_FALSE(mapped.isElementIn(PDLVariant("A3"), "b"));
    EXPECT_EQ(PDLVariant::eInvalid, mapped.getMappedValue(PDLVariant(), "z").getKind());
    EXPECT_EQ("", logText());
    mapped.getMappedValue(PDLVariant(1.0f), "a");
    mapped.isElementIn(PDLVariant(1), "z");
    plain.getMappedValue(PDLVariant(2), "fid");
    EXPECT_EQ("\nERROR:\nmapping a not found\n\n\nERROR:\nmapping z not found\n\n"
              "\nERROR:\ntype Level has no mappings\n\n",
              logText());
    // A walk over an unknown mapping reports and is empty.
    m_log.str("");
    EXPECT_TRUE(walk(plain.begin("fid"), plain.end("fid")).empty());
    EXPECT_EQ(2, countInLog("ERROR:\nmapping fid not found\n"));
}
