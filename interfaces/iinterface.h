#ifndef INTERFACES_IINTERFACE_H
#define INTERFACES_IINTERFACE_H

// Root of every interface shared by the core, the module driver library and the host.
// An object offers an interface by answering its id in queryInterface; null means "not offered".

enum EInterfaceID : unsigned int
{
    eIPanelEvent = 1000,
    eIWidgetManager = 1001,
    eIWidgetControl = 1002,
    eIPanelFeedback = 1004,
    eIPDLInterpreter = 1005,
    eIMHLParser = 1006,
    eIModuleManager = 1007,
    eIEventManager = 1008,
    eIModuleTest = 1009,
    eIHwModuleManager = 1010,
    eIColorManager = 1011,
    eIPanelState = 1101,
    eIPSPublisher = 1111
};

class IInterface
{
public:
    virtual ~IInterface() {}
    virtual IInterface* queryInterface(unsigned int id) = 0;
};

// Asks pObject for T by T's id and converts with a checked cast: a wrong answer gives null.
template <class T, class M>
T* getInterface(M* pObject)
{
    if (pObject == nullptr)
        return nullptr;
    IInterface* pInterface = pObject->queryInterface(T::s_interfaceID);
    if (pInterface == nullptr)
        return nullptr;
    return dynamic_cast<T*>(pInterface);
}

#endif
