#ifndef RTK_TESTMODULE_TESTINTERFACE_H
#define RTK_TESTMODULE_TESTINTERFACE_H

#include <interfaces/iinterface.h>

// The interface the test library's root object offers.
class ITestCounter : public virtual IInterface
{
public:
    static const unsigned int s_interfaceID = 4242;
    virtual int next() = 0;
    // The root object sets *pFlag to 1 in its destructor.
    virtual void watchDestruction(int* pFlag) = 0;
};

#endif
