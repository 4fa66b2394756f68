#include "pdlscaler.h"

#include "pdlpanelstate.h"
#include "pdltypeclasses.h"

#include <cstdint>
#include <ios>
#include <sstream>

namespace
{
// Fixed notation, the point always shown, precision decimals, then the unit.
std::string formatFixed(float value, int precision, std::string const& unit)
{
    std::ostringstream os;
    os.setf(std::ios::fixed, std::ios::floatfield);
    os.setf(std::ios::showpoint);
    os.precision(precision);
    os << static_cast<double>(value) << unit;
    return os.str();
}

// The stream's general format with precision significant digits, then the unit.
std::string formatGeneral(float value, int precision, std::string const& unit)
{
    std::ostringstream os;
    os.precision(precision);
    os << static_cast<double>(value) << unit;
    return os.str();
}

// Integer subtraction with 32-bit wrap-around, as the hardware does it.
int32_t wrapSub(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}
} // namespace

PDLScaler* PDLScaler::create(std::string const& name)
{
    if (name == "PERCENT")
    {
        return new PDLPercentScaler();
    }
    if (name == "TESTSCALER")
    {
        return new PDLTestScaler();
    }
    if (name == "ANALOG_UNI_P")
    {
        return new PDLAnalogUniPercentScaler();
    }
    if (name == "ANALOG_BIDI_P")
    {
        return new PDLAnalogBidiPercentScaler();
    }
    if (name == "ANALOG_BIDI_D")
    {
        return new PDLAnalogBidiDegreeScaler();
    }
    return nullptr;
}

PDLScaler::PDLScaler() : m_pVariable(nullptr), m_pPanelState(nullptr) {}

PDLScaler::~PDLScaler()
{
    m_pVariable = nullptr;
    m_pPanelState = nullptr;
}

void PDLScaler::setParameters(PDLVariable* pVariable)
{
    m_pVariable = pVariable;
    m_parameterPrefix.clear();
    init();
}

void PDLScaler::setParameters(std::string const& fid)
{
    m_pVariable = nullptr;
    m_parameterPrefix = fid + ".";
    m_pPanelState = PDLPanelState::getInstance();
    init();
}

void PDLScaler::setParameters(std::string const& fid, PDLVariable* pVariable)
{
    m_pVariable = pVariable;
    m_parameterPrefix = fid + ".";
    m_pPanelState = PDLPanelState::getInstance();
    // Read only to mirror the type name into the variable.
    (void)getStringAt("TYPE", "");
    init();
}

PDLVariant PDLScaler::getParameter(std::string const& key)
{
    PDLVariant value;
    if (m_pPanelState == nullptr)
    {
        if (m_pVariable != nullptr)
        {
            value = m_pVariable->getValueAtIndex(PDLVariant(key), "", false);
        }
    }
    else
    {
        value = m_pPanelState->getValue(m_parameterPrefix + key, false);
        if (m_pVariable != nullptr)
        {
            m_pVariable->setValueAtIndex(PDLVariant(key), value);
        }
    }
    return value;
}

float PDLScaler::getFloatAt(std::string const& key, float fallback)
{
    PDLVariant const value = getParameter(key);
    return value.getKind() == PDLVariant::eInvalid ? fallback : value.getFloat();
}

int PDLScaler::getIntAt(std::string const& key, int fallback)
{
    PDLVariant const value = getParameter(key);
    return value.getKind() == PDLVariant::eInvalid ? fallback : value.getInt();
}

std::string PDLScaler::getStringAt(std::string const& key, std::string const& fallback)
{
    PDLVariant const value = getParameter(key);
    return value.getKind() == PDLVariant::eInvalid ? fallback : value.getString();
}

PDLPercentScaler::PDLPercentScaler() : m_min(0.0f), m_max(1.0f), m_unit("%"), m_precision(1) {}

void PDLPercentScaler::init()
{
    m_unit = getStringAt("UNIT", "%");
    m_min = getFloatAt("MIN", 0.0f);
    m_max = getFloatAt("MAX", 1.0f);
    m_precision = getIntAt("PRECISION", 1);
}

PDLVariant PDLPercentScaler::scale(PDLVariant const& value, bool inverse)
{
    if (value.getKind() == PDLVariant::eInvalid)
    {
        return PDLVariant();
    }
    if (inverse)
    {
        return PDLVariant(value.getFloat() / 100.0f);
    }
    // The divisor is MAX, not the width of the range.
    float const percent = (value.getFloat() - m_min) / m_max * 100.0f;
    return PDLVariant(formatFixed(percent, m_precision, m_unit));
}

PDLTestScaler::PDLTestScaler() : m_min(0.0f), m_max(1.0f), m_unit(), m_precision(4) {}

void PDLTestScaler::init()
{
    m_unit = getStringAt("UNIT", "");
    m_min = getFloatAt("MIN", 0.0f);
    m_max = getFloatAt("MAX", 1.0f);
    m_precision = getIntAt("PRECISION", 4);
}

PDLVariant PDLTestScaler::scale(PDLVariant const& value, bool inverse)
{
    if (value.getKind() == PDLVariant::eInvalid)
    {
        return PDLVariant();
    }
    if (inverse)
    {
        return PDLVariant(value.getFloat() / 100.0f);
    }
    float const percent = (value.getFloat() - m_min) / m_max * 100.0f;
    return PDLVariant(formatGeneral(percent, m_precision, m_unit));
}

PDLAnalogScaler::PDLAnalogScaler(std::string const& /*name*/, int inMin, int inMax, float outMin,
                                 float outMax, int precision, std::string const& unit)
    : m_defaultUnit(unit), m_defaultMinIn(inMin), m_defaultMaxIn(inMax), m_defaultMinOut(outMin),
      m_defaultMaxOut(outMax), m_defaultPrecision(precision), m_unit(unit), m_minIn(inMin), m_maxIn(inMax),
      m_minOut(outMin), m_maxOut(outMax), m_precision(precision)
{
}

void PDLAnalogScaler::init()
{
    // A parameter taken away goes back to the class's default, not to the last value read.
    m_unit = getStringAt("UNIT", m_defaultUnit);
    m_minIn = getIntAt("MIN", m_defaultMinIn);
    m_maxIn = getIntAt("MAX", m_defaultMaxIn);
    m_minOut = getFloatAt("MINOUT", m_defaultMinOut);
    m_maxOut = getFloatAt("MAXOUT", m_defaultMaxOut);
    m_precision = getIntAt("PRECISION", m_defaultPrecision);
}

PDLVariant PDLAnalogScaler::scale(PDLVariant const& value, bool inverse)
{
    if (value.getKind() == PDLVariant::eInvalid)
    {
        return PDLVariant();
    }
    float const inRange = static_cast<float>(wrapSub(m_maxIn, m_minIn));
    if (inverse)
    {
        float const raw =
            (value.getFloat() - m_minOut) / (m_maxOut - m_minOut) * inRange + static_cast<float>(m_minIn);
        return PDLVariant(raw);
    }
    float const out =
        static_cast<float>(wrapSub(value.getInt(), m_minIn)) / inRange * (m_maxOut - m_minOut) + m_minOut;
    return PDLVariant(formatFixed(out, m_precision, m_unit));
}

PDLAnalogUniPercentScaler::PDLAnalogUniPercentScaler()
    : PDLAnalogScaler("ANALOG_UNI_P", 0, 4095, 0.0f, 100.0f, 1, "%")
{
}

PDLAnalogBidiPercentScaler::PDLAnalogBidiPercentScaler()
    : PDLAnalogScaler("ANALOG_BIDI_P", -2048, 2047, -100.0f, 100.0f, 1, "%")
{
}

// The unit is the degree sign as one Latin-1 byte.
PDLAnalogBidiDegreeScaler::PDLAnalogBidiDegreeScaler()
    : PDLAnalogScaler("ANALOG_BIDI_D", -2048, 2047, -180.0f, 180.0f, 1, "\xB0")
{
}
