#ifndef PANELFUNCTIONSYSTEM_H
#define PANELFUNCTIONSYSTEM_H

// PanelFunctionSystem: makes and destroys the singletons of the core in their fixed order and answers
// interface queries for them.

#include <interfaces/iinterface.h>

class IFunctionID;
class IMacroSystem;
class IPanelFeedback;
class PDLInterpreter;
class RCLPConnector;
class RCLPListener;

// A part of the panel that offers interfaces.
class Component : public virtual IInterface
{
};

class PanelFunctionSystem : public Component
{
public:
    // Creates the singletons, the interpreter (which takes the interpreter mutex) and the connector.
    PanelFunctionSystem();
    // Stops the main loop first and deletes the panel state last.
    ~PanelFunctionSystem() override;

    IInterface* queryInterface(unsigned int id) override;

    // Resets every control to its defaults.
    void deinit();

    void setPanelFeedbackInterface(IPanelFeedback* pPanelFeedback) const;
    void setFunctionIDInterface(IFunctionID* pFunctionID) const;
    void setMacroSystemInterface(IMacroSystem* pMacroSystem) const;

    // Listens for remote control clients on port 56662 of every local address, handing them to the
    // connector. Stopping ends the listening; connected clients stay.
    void startRCLPListener();
    void stopRCLPListener();
    // Null unless the listener runs.
    RCLPListener* getRCLPListener() const { return m_pRCLPListener; }
    RCLPConnector* getRCLPConnector() const { return m_pRCLPConnector; }

    // Told the name of each object of the core right after it was made and right after it was deleted
    // ("+Name" / "-Name"); for tests that check the order. Null (the default) tells nobody.
    typedef void (*LifecycleHook)(char const* pWhat);
    static void setLifecycleHook(LifecycleHook hook);
    static void notifyLifecycle(char const* pWhat);

private:
    PanelFunctionSystem(PanelFunctionSystem const&) = delete;
    PanelFunctionSystem& operator=(PanelFunctionSystem const&) = delete;

    void create();

    PDLInterpreter* m_pInterpreter;
    RCLPConnector* m_pRCLPConnector;
    RCLPListener* m_pRCLPListener;

    static LifecycleHook s_lifecycleHook;
};

#endif
