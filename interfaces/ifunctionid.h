#ifndef INTERFACES_IFUNCTIONID_H
#define INTERFACES_IFUNCTIONID_H

#include <string>

class FIDParameterList;

// Given by the host: the function id service of the mainframe side.
class IFunctionID
{
public:
    virtual ~IFunctionID() {}

    // Subscribes the panel to fid; true when the host took the subscription.
    virtual bool subscribeFunctionID(std::string const& fid) = 0;
    // Runs fid with the given parameters; true when the host took the call.
    virtual bool callFunctionID(std::string const& fid, FIDParameterList const& params) = 0;
};

#endif
