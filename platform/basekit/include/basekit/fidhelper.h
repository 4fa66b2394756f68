#ifndef BASEKIT_FIDHELPER_H
#define BASEKIT_FIDHELPER_H

#include "basekit/uniqueids.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// A function id split into its elements at every '.'. The empty text has no element; otherwise
// n dots give n + 1 elements, so a leading '.' (".SYSTEM.NAME") gives an empty first element and
// "A..B" an empty middle one.
class FIDHelper
{
public:
    explicit FIDHelper(std::string const& fid);

    std::string const& getString() const { return m_fid; }
    size_t getElementCount() const { return m_elements.size(); }
    // index must be below getElementCount().
    std::string const& getElement(size_t index) const;

protected:
    std::string m_fid;
    std::vector<std::string> m_elements;
};

// Name and value texts of a function call, in the order added, with the widget id of the caller
// (0 unless set).
class FIDParameterList
{
public:
    void add(std::string const& name, std::string const& value);
    size_t getCount() const { return m_parameters.size(); }
    // index must be below getCount().
    std::string const& getName(size_t index) const;
    std::string const& getValue(size_t index) const;

    void setWidgetID(UniqueWidgetID const& id) { m_widgetID = id; }
    UniqueWidgetID const& getWidgetID() const { return m_widgetID; }

    // Drops the parameters and sets the widget id back to 0.
    void clear();

private:
    std::vector<std::pair<std::string, std::string>> m_parameters;
    UniqueWidgetID m_widgetID;
};

// A function id pattern: a function id in which whole elements may be parameters "[NAME:SET]".
//   NAME  one or more letters, digits or '_'.
//   SET  "*" (any element, also the empty one), or a comma list of items, each an unsigned decimal
//         number or a range "a-b" with a <= b, both ends included: "[GRP:1-9]", "[M:1,3,5-7]".
// Any element that begins with '[' is a parameter element; one that breaks the grammar above (no
// blanks are allowed anywhere in it) makes the whole pattern malformed: isValid() is false,
// getError() says why, and it matches nothing.
// A numeric SET matches an element that is a number in canonical decimal form: digits only, no sign,
// no leading zero except for "0" itself, so each number in the set matches exactly one element text
// ("007" and "+7" match nothing). Literal elements must equal byte for byte, and the element counts
// must be equal.
class FIDPatternHelper : public FIDHelper
{
public:
    explicit FIDPatternHelper(std::string const& pattern);

    bool matches(FIDHelper const& fid) const;
    bool isValid() const { return m_error.empty(); }
    // Empty for a valid pattern.
    std::string const& getError() const { return m_error; }
    // Kept for the callers that hand a pattern's parameters on; it stays empty.
    FIDParameterList const& getParameters() const { return m_parameters; }

    // True when some element of text begins with '[', that is, the text is meant as a pattern
    // (whether or not it is well formed).
    static bool isParameterized(std::string const& text);

protected:
    FIDParameterList m_parameters;

private:
    enum EElementKind
    {
        eElementLiteral,
        eElementAny,
        eElementNumbers
    };

    struct Element
    {
        EElementKind m_kind;
        std::vector<std::pair<uint32_t, uint32_t>> m_ranges; // eElementNumbers only
    };

    bool parseParameter(std::string const& text, Element& element, std::string& reason) const;

    std::vector<Element> m_pattern;
    std::string m_error;
};

#endif
