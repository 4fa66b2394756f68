#ifndef INTERFACES_IPANELFEEDBACK_H
#define INTERFACES_IPANELFEEDBACK_H

#include "interfaces/iinterface.h"

#include <string>

class UniqueWidgetID;

// What a physical control shows: attribute writes and reads, and triggers, towards the hardware.
class IPanelFeedback : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIPanelFeedback;

    // Parameter type of an attribute or receive event; values above eParamTypeNumeric are not handled.
    enum EWidgetParameterType
    {
        eParamTypeUnknown = 0, // no such attribute or receive event on this control
        eParamTypeBool = 1,
        eParamTypeText = 2,
        eParamTypeText2 = 3, // a second text kind, treated as text
        eParamTypeNumeric = 4
    };

    virtual EWidgetParameterType getAttributeParamType(UniqueWidgetID const& id,
                                                       std::string const& attribute) = 0;
    virtual EWidgetParameterType getReceiveEventParamType(UniqueWidgetID const& id,
                                                          std::string const& event) = 0;
    virtual void setAllAttributesToDefault(UniqueWidgetID const& id) = 0;
    // Writes answer true when the receiver took the value; callers may ignore the answer.
    virtual bool setAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool value) = 0;
    virtual bool setAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int value) = 0;
    virtual bool setAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                                  std::string const& value) = 0;
    // Reads answer true and fill value on success.
    virtual bool getAttributeBool(UniqueWidgetID const& id, std::string const& attribute, bool& value) = 0;
    virtual bool getAttributeNumeric(UniqueWidgetID const& id, std::string const& attribute, int& value) = 0;
    virtual bool getAttributeText(UniqueWidgetID const& id, std::string const& attribute,
                                  std::string& value) = 0;
    virtual bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value) = 0;
};

#endif
