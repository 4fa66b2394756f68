#ifndef INTERFACES_IWIDGETCONTROL_H
#define INTERFACES_IWIDGETCONTROL_H

#include "interfaces/iinterface.h"

#include <string>

class UniqueModuleID;
class UniqueWidgetID;

// Attribute access to the physical widgets of the core, by text, from any thread.
class IWidgetControl : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIWidgetControl;

    // The empty text when there is no such widget.
    virtual std::string getWidgetAttributeValue(UniqueWidgetID const& id, std::string const& attribute) = 0;
    virtual void setWidgetAttributeValue(UniqueWidgetID const& id, std::string const& attribute,
                                         std::string const& value) = 0;
    virtual void overrideWidgetAttributeValue(std::string const& overrider, UniqueWidgetID const& id,
                                              std::string const& attribute, std::string const& value) = 0;
    virtual void restoreWidgetAttributeValue(std::string const& overrider, UniqueWidgetID const& id,
                                             std::string const& attribute) = 0;
    virtual void addWidget(UniqueWidgetID const& id) = 0;
    virtual void removeWidgetsOfModule(UniqueModuleID const& id) = 0;
};

#endif
