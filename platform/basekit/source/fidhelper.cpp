#include "basekit/fidhelper.h"

#include "rtk/assert.h"

#include <cctype>
#include <limits>

namespace
{
// Reads text[begin, end) as a number in canonical decimal form: digits only, no leading zero unless
// the number is 0, at most the 32-bit unsigned range.
bool parseCanonicalNumber(std::string const& text, size_t begin, size_t end, uint32_t& value)
{
    if (begin >= end)
        return false;
    if (text[begin] == '0' && end - begin > 1)
        return false;
    uint64_t result = 0;
    for (size_t i = begin; i < end; ++i)
    {
        char c = text[i];
        if (c < '0' || c > '9')
            return false;
        result = result * 10 + static_cast<uint64_t>(c - '0');
        if (result > std::numeric_limits<uint32_t>::max())
            return false;
    }
    value = static_cast<uint32_t>(result);
    return true;
}

bool isNameCharacter(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}
} // namespace

FIDHelper::FIDHelper(std::string const& fid) : m_fid(fid)
{
    if (fid.empty())
        return;
    size_t start = 0;
    for (;;)
    {
        size_t dot = fid.find('.', start);
        if (dot == std::string::npos)
        {
            m_elements.push_back(fid.substr(start));
            break;
        }
        m_elements.push_back(fid.substr(start, dot - start));
        start = dot + 1;
    }
}

std::string const& FIDHelper::getElement(size_t index) const
{
    RTK_ASSERT(index < m_elements.size());
    return m_elements[index];
}

void FIDParameterList::add(std::string const& name, std::string const& value)
{
    m_parameters.emplace_back(name, value);
}

std::string const& FIDParameterList::getName(size_t index) const
{
    RTK_ASSERT(index < m_parameters.size());
    return m_parameters[index].first;
}

std::string const& FIDParameterList::getValue(size_t index) const
{
    RTK_ASSERT(index < m_parameters.size());
    return m_parameters[index].second;
}

void FIDParameterList::clear()
{
    m_parameters.clear();
    m_widgetID = UniqueWidgetID();
}

FIDPatternHelper::FIDPatternHelper(std::string const& pattern) : FIDHelper(pattern)
{
    m_pattern.reserve(m_elements.size());
    for (size_t i = 0; i < m_elements.size(); ++i)
    {
        std::string const& text = m_elements[i];
        Element element;
        element.m_kind = eElementLiteral;
        if (!text.empty() && text[0] == '[')
        {
            std::string reason;
            if (!parseParameter(text, element, reason))
            {
                m_error = "malformed parameter element " + std::to_string(i) + " \"" + text + "\": " + reason;
                m_pattern.clear();
                return;
            }
        }
        m_pattern.push_back(std::move(element));
    }
}

bool FIDPatternHelper::parseParameter(std::string const& text, Element& element, std::string& reason) const
{
    if (text.size() < 2 || text.back() != ']')
    {
        reason = "missing ']' at the end";
        return false;
    }
    size_t colon = text.find(':');
    if (colon == std::string::npos)
    {
        reason = "missing ':' after the name";
        return false;
    }
    if (colon == 1)
    {
        reason = "empty name";
        return false;
    }
    for (size_t i = 1; i < colon; ++i)
    {
        if (!isNameCharacter(text[i]))
        {
            reason = "name holds a character other than a letter, digit or '_'";
            return false;
        }
    }
    size_t const specBegin = colon + 1;
    size_t const specEnd = text.size() - 1;
    if (specEnd - specBegin == 1 && text[specBegin] == '*')
    {
        element.m_kind = eElementAny;
        return true;
    }
    element.m_kind = eElementNumbers;
    size_t itemBegin = specBegin;
    for (;;)
    {
        size_t itemEnd = text.find(',', itemBegin);
        if (itemEnd == std::string::npos || itemEnd > specEnd)
            itemEnd = specEnd;
        size_t dash = text.find('-', itemBegin);
        uint32_t low = 0;
        uint32_t high = 0;
        if (dash != std::string::npos && dash < itemEnd)
        {
            if (!parseCanonicalNumber(text, itemBegin, dash, low) ||
                !parseCanonicalNumber(text, dash + 1, itemEnd, high))
            {
                reason = "a range needs two unsigned decimal numbers \"a-b\"";
                return false;
            }
            if (low > high)
            {
                reason = "range start above its end";
                return false;
            }
        }
        else
        {
            if (!parseCanonicalNumber(text, itemBegin, itemEnd, low))
            {
                reason = "expected '*', an unsigned decimal number or a range \"a-b\"";
                return false;
            }
            high = low;
        }
        element.m_ranges.emplace_back(low, high);
        if (itemEnd == specEnd)
            return true;
        itemBegin = itemEnd + 1;
    }
}

bool FIDPatternHelper::matches(FIDHelper const& fid) const
{
    if (!isValid() || fid.getElementCount() != m_pattern.size())
        return false;
    for (size_t i = 0; i < m_pattern.size(); ++i)
    {
        Element const& element = m_pattern[i];
        std::string const& text = fid.getElement(i);
        switch (element.m_kind)
        {
        case eElementLiteral:
            if (text != m_elements[i])
                return false;
            break;
        case eElementAny:
            break;
        case eElementNumbers:
        {
            uint32_t value = 0;
            if (!parseCanonicalNumber(text, 0, text.size(), value))
                return false;
            bool inSet = false;
            for (auto const& range : element.m_ranges)
            {
                if (value >= range.first && value <= range.second)
                {
                    inSet = true;
                    break;
                }
            }
            if (!inSet)
                return false;
            break;
        }
        }
    }
    return true;
}

bool FIDPatternHelper::isParameterized(std::string const& text)
{
    for (size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] == '[' && (i == 0 || text[i - 1] == '.'))
            return true;
    }
    return false;
}
