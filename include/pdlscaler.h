#ifndef PDLSCALER_H
#define PDLSCALER_H

// Scalers: conversion between a raw control value (as the hardware and the panel state hold it) and
// the text a person reads, and back. The parameters of a scaler come from an array variable, from
// panel state entries below a function id, or from both (the variable then mirrors the entries).

#include "pdlvariant.h"

#include <cstdint>
#include <string>

class PDLPanelState;
class PDLVariable;

class PDLScaler
{
public:
    // A new scaler of that exact type name, owned by the caller; null for any other name.
    static PDLScaler* create(std::string const& name);

    PDLScaler();
    virtual ~PDLScaler();

    // inverse false: raw value to display text; true: display number to raw value. Invalid stays Invalid.
    virtual PDLVariant scale(PDLVariant const& value, bool inverse) = 0;
    // Parameters from the elements of an array variable.
    virtual void setParameters(PDLVariable* pVariable);
    // Parameters from the panel state entries fid + "." + name.
    virtual void setParameters(std::string const& fid);
    // Parameters from the panel state, mirrored into the array variable (the type name included).
    virtual void setParameters(std::string const& fid, PDLVariable* pVariable);
    // Reads the parameters anew from wherever they lie.
    virtual void init() = 0;

    PDLVariable* getVariable() const { return m_pVariable; }
    std::string const& getParameterPrefix() const { return m_parameterPrefix; }
    PDLPanelState* getPanelState() const { return m_pPanelState; }

protected:
    // One parameter, or the fall-back when it is missing or Invalid.
    float getFloatAt(std::string const& key, float fallback);
    int getIntAt(std::string const& key, int fallback);
    std::string getStringAt(std::string const& key, std::string const& fallback);

    PDLVariable* m_pVariable;
    std::string m_parameterPrefix;
    PDLPanelState* m_pPanelState;

private:
    PDLScaler(PDLScaler const&) = delete;
    PDLScaler& operator=(PDLScaler const&) = delete;

    // The parameter value by the common rule; Invalid when there is none.
    PDLVariant getParameter(std::string const& key);
};

// (value - MIN) / MAX * 100 in fixed notation with PRECISION decimals, then UNIT.
class PDLPercentScaler : public PDLScaler
{
public:
    PDLPercentScaler();

    PDLVariant scale(PDLVariant const& value, bool inverse) override;
    void init() override;

protected:
    float m_min;
    float m_max;
    std::string m_unit;
    int32_t m_precision;
};

// As the percent scaler, but in the general number format with PRECISION significant digits.
class PDLTestScaler : public PDLScaler
{
public:
    PDLTestScaler();

    PDLVariant scale(PDLVariant const& value, bool inverse) override;
    void init() override;

protected:
    float m_min;
    float m_max;
    std::string m_unit;
    int32_t m_precision;
};

// A linear map of an integer input range onto a float output range; the constructor's values are
// the defaults that missing parameters fall back to.
class PDLAnalogScaler : public PDLScaler
{
public:
    PDLAnalogScaler(std::string const& name, int inMin, int inMax, float outMin, float outMax, int precision,
                    std::string const& unit);

    PDLVariant scale(PDLVariant const& value, bool inverse) override;
    void init() override;

protected:
    std::string m_defaultUnit;
    int32_t m_defaultMinIn;
    int32_t m_defaultMaxIn;
    float m_defaultMinOut;
    float m_defaultMaxOut;
    int32_t m_defaultPrecision;
    std::string m_unit;
    int32_t m_minIn;
    int32_t m_maxIn;
    float m_minOut;
    float m_maxOut;
    int32_t m_precision;
};

class PDLAnalogUniPercentScaler : public PDLAnalogScaler
{
public:
    PDLAnalogUniPercentScaler();
};

class PDLAnalogBidiPercentScaler : public PDLAnalogScaler
{
public:
    PDLAnalogBidiPercentScaler();
};

class PDLAnalogBidiDegreeScaler : public PDLAnalogScaler
{
public:
    PDLAnalogBidiDegreeScaler();
};

#endif
