#ifndef INTERFACES_IPDLINTERPRETER_H
#define INTERFACES_IPDLINTERPRETER_H

#include "interfaces/iinterface.h"

class UniqueWidgetID;

// The interpreter's door for the MHL parser, which announces the widgets of a module here.
class IPDLInterpreter : public virtual IInterface
{
public:
    static constexpr unsigned int s_interfaceID = eIPDLInterpreter;

    virtual void addWidget(UniqueWidgetID const& id) = 0;
};

#endif
