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

// Truncation toward zero; NaN and values outside the 32-bit range give the integer indefinite, as
// the processor's conversion instruction does.
std::int32_t truncateToInt(float value)
{
    if (value >= -2147483648.0f && value < 2147483648.0f)
    {
        return static_cast<std::int32_t>(value);
    }
    return std::numeric_limits<std::int32_t>::min();
}
} // namespace

PDLVariant::PDLVariant() : m_kind(eInvalid)
{
    m_scalar.m_int = 0;
}

PDLVariant::PDLVariant(bool value) : m_kind(eBool)
{
    m_scalar.m_int = 0;
    m_scalar.m_bool = value;
}

PDLVariant::PDLVariant(int value) : m_kind(eInt)
{
    m_scalar.m_int = value;
}

PDLVariant::PDLVariant(unsigned int value) : m_kind(eInt)
{
    m_scalar.m_int = static_cast<std::int32_t>(value);
}

PDLVariant::PDLVariant(float value) : m_kind(eFloat)
{
    m_scalar.m_float = value;
}

PDLVariant::PDLVariant(char const* pText) : m_kind(eString), m_string(pText != nullptr ? pText : "")
{
    m_scalar.m_int = 0;
}

PDLVariant::PDLVariant(std::string const& text) : m_kind(eString), m_string(text)
{
    m_scalar.m_int = 0;
}

PDLVariant::PDLVariant(PDLVariant const& other) : m_kind(other.m_kind), m_scalar(other.m_scalar)
{
    // Only a String's text is copied, so that copying a number never allocates.
    if (m_kind == eString)
    {
        m_string = other.m_string;
    }
}

PDLVariant::PDLVariant(PDLVariant&& other) noexcept : m_kind(other.m_kind), m_scalar(other.m_scalar)
{
    if (m_kind == eString)
    {
        m_string = std::move(other.m_string);
    }
}

PDLVariant& PDLVariant::operator=(PDLVariant const& other)
{
    if (this == &other)
    {
        return *this;
    }
    m_kind = other.m_kind;
    switch (m_kind)
    {
    case eBool:
    case eInt:
    case eFloat:
        m_scalar = other.m_scalar;
        break;
    case eString:
        m_string = other.m_string;
        break;
    default:
        break;
    }
    return *this;
}

PDLVariant& PDLVariant::operator=(PDLVariant&& other) noexcept
{
    if (this == &other)
    {
        return *this;
    }
    m_kind = other.m_kind;
    switch (m_kind)
    {
    case eBool:
    case eInt:
    case eFloat:
        m_scalar = other.m_scalar;
        break;
    case eString:
        m_string = std::move(other.m_string);
        break;
    default:
        break;
    }
    return *this;
}

void PDLVariant::setBool(bool value)
{
    m_kind = eBool;
    m_scalar.m_int = 0;
    m_scalar.m_bool = value;
}

void PDLVariant::setInt(int value)
{
    m_kind = eInt;
    m_scalar.m_int = value;
}

void PDLVariant::setFloat(float value)
{
    m_kind = eFloat;
    m_scalar.m_float = value;
}

void PDLVariant::setString(std::string const& text)
{
    m_kind = eString;
    m_string = text;
}

bool PDLVariant::getBool() const
{
    switch (m_kind)
    {
    case eBool:
        return m_scalar.m_bool;
    case eInt:
        return m_scalar.m_int != 0;
    case eFloat:
        return m_scalar.m_float != 0.0f; // a NaN is unequal to zero, so true
    case eString:
        return m_string == "ON" || m_string == "TRUE";
    default:
        return false;
    }
}

int PDLVariant::getInt() const
{
    switch (m_kind)
    {
    case eBool:
        return m_scalar.m_bool ? 1 : 0;
    case eInt:
        return m_scalar.m_int;
    case eFloat:
        return truncateToInt(m_scalar.m_float);
    case eString:
        // strtol clamps to the range of long; only the low 32 bits are kept.
        return static_cast<std::int32_t>(
            static_cast<std::uint32_t>(std::strtol(m_string.c_str(), nullptr, 10)));
    default:
        return 0;
    }
}

float PDLVariant::getFloat() const
{
    switch (m_kind)
    {
    case eBool:
        return m_scalar.m_bool ? 1.0f : 0.0f;
    case eInt:
        return static_cast<float>(m_scalar.m_int);
    case eFloat:
        return m_scalar.m_float;
    case eString:
        return static_cast<float>(std::strtod(m_string.c_str(), nullptr));
    default:
        return 0.0f;
    }
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
        return m_string;
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
        m_string = getString();
        m_kind = eString;
    }
    m_string += text;
}

bool PDLVariant::operator==(PDLVariant const& other) const
{
    if (m_kind == other.m_kind)
    {
        switch (m_kind)
        {
        case eBool:
            return m_scalar.m_bool == other.m_scalar.m_bool;
        case eInt:
            return m_scalar.m_int == other.m_scalar.m_int;
        case eFloat:
            return m_scalar.m_float == other.m_scalar.m_float;
        case eString:
            return m_string == other.m_string;
        default:
            return true; // two Invalids
        }
    }
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
