#include "pdlvariant.h"

#include <charconv>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <typeinfo>
#include <utility>

namespace
{
// Writes value with std::to_chars into buf and returns the text. to_chars follows printf's
// conversions exactly (round half to even on the binary value, "inf", "nan", "-nan") and, unlike a
// stream or snprintf, never depends on a locale.
std::string toChars(double value, std::chars_format format, int precision)
{
    char buf[64];
    std::to_chars_result result = std::to_chars(buf, buf + sizeof(buf), value, format, precision);
    return std::string(buf, result.ptr);
}

// printf's "%#.4g": four significant digits, trailing zeros and the decimal point kept.
std::string formatGeneral4(double value)
{
    const int significant = 4;
    char sci[64];
    std::to_chars_result result =
        std::to_chars(sci, sci + sizeof(sci), value, std::chars_format::scientific, significant - 1);
    std::string text(sci, result.ptr);
    std::string::size_type ePos = text.find('e');
    if (ePos == std::string::npos)
    {
        return text; // not finite; not reached from formatFloat
    }
    // The exponent of the value rounded to four digits decides between the two styles.
    int exponent = std::atoi(text.c_str() + ePos + 1);
    if (exponent < -4 || exponent >= significant)
    {
        return text;
    }
    // The fixed style shows the same four digits ("d.ddd" of the scientific text): move the point.
    const std::string::size_type signLength = text[0] == '-' ? 1 : 0;
    std::string digits = text.substr(signLength, 1) + text.substr(signLength + 2, significant - 1);
    std::string fixed = text.substr(0, signLength);
    if (exponent >= 0)
    {
        fixed += digits.substr(0, exponent + 1);
        fixed += '.';
        fixed += digits.substr(exponent + 1);
    }
    else
    {
        fixed += "0.";
        fixed.append(-exponent - 1, '0');
        fixed += digits;
    }
    return fixed;
}

} // namespace

// ---- PDLVariantText ----

std::string const PDLVariantText::s_empty;

PDLVariantText::PDLVariantText(std::string const& text)
    : m_pShared(text.empty() ? nullptr : new Shared{{1}, text})
{
}

PDLVariantText::PDLVariantText(std::string&& text)
    : m_pShared(text.empty() ? nullptr : new Shared{{1}, std::move(text)})
{
}

void PDLVariantText::release() noexcept
{
    // The last holder frees the text; acquire pairs with the other holders' releases.
    if (m_pShared->m_references.fetch_sub(1, std::memory_order_acq_rel) == 1)
    {
        delete m_pShared;
    }
    m_pShared = nullptr;
}

std::string& PDLVariantText::modify()
{
    if (m_pShared == nullptr)
    {
        m_pShared = new Shared{{1}, std::string()};
    }
    else if (m_pShared->m_references.load(std::memory_order_acquire) != 1)
    {
        Shared* pCopy = new Shared{{1}, m_pShared->m_text};
        release();
        m_pShared = pCopy;
    }
    return m_pShared->m_text;
}

void PDLVariantText::clear()
{
    if (m_pShared != nullptr)
    {
        release();
    }
}

// ---- PDLVariant ----

PDLVariant::PDLVariant(char const* pText)
    : m_kind(eString), m_string(std::string(pText != nullptr ? pText : ""))
{
    m_scalar.m_int = 0;
}

void PDLVariant::setString(std::string const& text)
{
    m_kind = eString;
    m_string = PDLVariantText(text);
}

bool PDLVariant::textToBool() const
{
    std::string const& text = m_string.get();
    return text == "ON" || text == "TRUE";
}

int PDLVariant::textToInt() const
{
    // strtol clamps to the range of long; only the low 32 bits are kept.
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(std::strtol(m_string.get().c_str(), nullptr, 10)));
}

float PDLVariant::textToFloat() const
{
    return static_cast<float>(std::strtod(m_string.get().c_str(), nullptr));
}

std::string PDLVariant::getString() const
{
    switch (m_kind)
    {
    case eBool:
        return m_scalar.m_bool ? "ON" : "OFF";
    case eInt:
        return std::to_string(m_scalar.m_int);
    case eFloat:
        return formatFloat(m_scalar.m_float);
    case eString:
        return m_string.get();
    default:
        return std::string();
    }
}

std::string PDLVariant::getFunctionID() const
{
    return getString();
}

std::string PDLVariant::formatFloat(float value) const
{
    // Large magnitudes (and the infinities) as whole numbers, medium ones with four significant
    // digits, small ones (and NaN, which fails both tests) with four decimals.
    const float largeLimit = 999.9f;
    const double wide = value;
    if (value > largeLimit || value < -largeLimit)
    {
        return toChars(wide, std::chars_format::fixed, 0);
    }
    if (value > 1.0f || value < -1.0f)
    {
        return formatGeneral4(wide);
    }
    return toChars(wide, std::chars_format::fixed, 4);
}

void PDLVariant::clear()
{
    switch (m_kind)
    {
    case eBool:
        setBool(false);
        break;
    case eInt:
        m_scalar.m_int = 0;
        break;
    case eFloat:
        m_scalar.m_float = 0.0f;
        break;
    case eString:
        m_string.clear();
        break;
    default:
        break;
    }
}

void PDLVariant::append(std::string const& text)
{
    if (m_kind != eString)
    {
        m_string = PDLVariantText(getString());
        m_kind = eString;
    }
    if (!text.empty())
    {
        m_string.modify() += text;
    }
}

bool PDLVariant::equalsOtherKind(PDLVariant const& other) const
{
    if (m_kind == eInvalid || other.m_kind == eInvalid)
    {
        return false;
    }
    if (m_kind == eBool || other.m_kind == eBool)
    {
        return getBool() == other.getBool();
    }
    // Int, Float and String against each other compare by their text.
    return getString() == other.getString();
}

void PDLVariant::print() const
{
    print(std::cout);
}

void PDLVariant::print(std::ostream& out) const
{
    out << getString();
}

void PDLVariant::dump() const
{
    dump(std::cout);
}

void PDLVariant::dump(std::ostream& out) const
{
    switch (m_kind)
    {
    case eBool:
        out << "Variant bool " << getString();
        break;
    case eInt:
        out << "Variant int " << getString();
        break;
    case eFloat:
        out << "Variant float " << getString();
        break;
    case eString:
        out << "Variant string " << getString();
        break;
    default:
        out << "Variant invalid";
        break;
    }
}

// ---- PDLVariantIteratorCont ----

PDLVariantIteratorCont::PDLVariantIteratorCont(PDLVariantIterator* pIterator) : m_pIterator(pIterator) {}

PDLVariantIteratorCont::PDLVariantIteratorCont(PDLVariantIteratorCont const& other)
    : m_pIterator(other.m_pIterator != nullptr ? other.m_pIterator->clone() : nullptr)
{
}

PDLVariantIteratorCont::PDLVariantIteratorCont(PDLVariantIteratorCont&& other) noexcept
    : m_pIterator(other.m_pIterator)
{
    other.m_pIterator = nullptr;
}

PDLVariantIteratorCont& PDLVariantIteratorCont::operator=(PDLVariantIteratorCont const& other)
{
    if (this != &other)
    {
        PDLVariantIterator* pCopy = other.m_pIterator != nullptr ? other.m_pIterator->clone() : nullptr;
        delete m_pIterator;
        m_pIterator = pCopy;
    }
    return *this;
}

PDLVariantIteratorCont& PDLVariantIteratorCont::operator=(PDLVariantIteratorCont&& other) noexcept
{
    if (this != &other)
    {
        delete m_pIterator;
        m_pIterator = other.m_pIterator;
        other.m_pIterator = nullptr;
    }
    return *this;
}

PDLVariantIteratorCont& PDLVariantIteratorCont::operator++()
{
    (*m_pIterator)++;
    return *this;
}

PDLVariantIteratorCont& PDLVariantIteratorCont::operator++(int)
{
    (*m_pIterator)++;
    return *this;
}

bool PDLVariantIteratorCont::operator==(PDLVariantIteratorCont const& other) const
{
    return *m_pIterator == *other.m_pIterator;
}

bool PDLVariantIteratorCont::operator!=(PDLVariantIteratorCont const& other) const
{
    return *m_pIterator != *other.m_pIterator;
}

PDLVariant PDLVariantIteratorCont::operator*() const
{
    return **m_pIterator;
}

PDLVariantIteratorCont::~PDLVariantIteratorCont()
{
    delete m_pIterator;
}

// ---- PDLVariantIteratorEmpty ----

PDLVariantIteratorEmpty PDLVariantIteratorEmpty::obj;

PDLVariantIterator& PDLVariantIteratorEmpty::operator++()
{
    return *this;
}

PDLVariantIterator& PDLVariantIteratorEmpty::operator++(int)
{
    return *this;
}

bool PDLVariantIteratorEmpty::operator==(PDLVariantIterator const&) const
{
    return true;
}

bool PDLVariantIteratorEmpty::operator!=(PDLVariantIterator const&) const
{
    return false;
}

PDLVariant PDLVariantIteratorEmpty::operator*() const
{
    return PDLVariant();
}

PDLVariantIterator* PDLVariantIteratorEmpty::clone() const
{
    return new PDLVariantIteratorEmpty();
}

// ---- PDLVariantIteratorVectorWrapper ----

PDLVariantIteratorVectorWrapper::PDLVariantIteratorVectorWrapper(PDLVariant const* pPosition)
    : m_pPosition(pPosition)
{
}

PDLVariantIterator& PDLVariantIteratorVectorWrapper::operator++()
{
    ++m_pPosition;
    return *this;
}

PDLVariantIterator& PDLVariantIteratorVectorWrapper::operator++(int)
{
    ++m_pPosition;
    return *this;
}

bool PDLVariantIteratorVectorWrapper::operator==(PDLVariantIterator const& other) const
{
    // A reference dynamic_cast throws std::bad_cast for an iterator of another class.
    return m_pPosition == dynamic_cast<PDLVariantIteratorVectorWrapper const&>(other).m_pPosition;
}

bool PDLVariantIteratorVectorWrapper::operator!=(PDLVariantIterator const& other) const
{
    return !(*this == other);
}

PDLVariant PDLVariantIteratorVectorWrapper::operator*() const
{
    return *m_pPosition;
}

PDLVariantIterator* PDLVariantIteratorVectorWrapper::clone() const
{
    return new PDLVariantIteratorVectorWrapper(m_pPosition);
}
