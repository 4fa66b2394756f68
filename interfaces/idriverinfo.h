#ifndef INTERFACES_IDRIVERINFO_H
#define INTERFACES_IDRIVERINFO_H

#include <string>

// Given by the host: which PDL file serves a driver type.
class IDriverInfo
{
public:
    virtual ~IDriverInfo() {}

    // The PDL file name of the driver type, without extension.
    virtual std::string getPDLName(std::string const& driverType) = 0;
};

#endif
