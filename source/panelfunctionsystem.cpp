#include "panelfunctionsystem.h"

#include "pdldebugger.h"
#include "pdleventmanager.h"
#include "pdlinterpreter.h"
#include "pdlmodulemanager.h"
#include "pdlpanelstate.h"
#include "pdlpersistentvarmanager.h"
#include "pdlphysicalwidget.h"
#include "rclpserver.h"

#include "rclp/rclplistener.h"
#include "rtk/hostaddress.h"

PanelFunctionSystem::LifecycleHook PanelFunctionSystem::s_lifecycleHook = nullptr;

void PanelFunctionSystem::setLifecycleHook(LifecycleHook hook)
{
    s_lifecycleHook = hook;
}

void PanelFunctionSystem::notifyLifecycle(char const* pWhat)
{
    if (s_lifecycleHook != nullptr)
    {
        s_lifecycleHook(pWhat);
    }
}

PanelFunctionSystem::PanelFunctionSystem()
    : m_pInterpreter(nullptr), m_pRCLPConnector(nullptr), m_pRCLPListener(nullptr)
{
    create();
}

void PanelFunctionSystem::create()
{
    // Later singletons fetch earlier ones in their constructors: the order is fixed.
    PDLPersistentVarManager::createInstance();
    notifyLifecycle("+PDLPersistentVarManager");
    PDLPanelState::createInstance();
    notifyLifecycle("+PDLPanelState");
    PDLPhysicalWidgetManager::createInstance();
    notifyLifecycle("+PDLPhysicalWidgetManager");
    PDLEventManager::createInstance();
    notifyLifecycle("+PDLEventManager");
    PDLModuleManager::createInstance();
    notifyLifecycle("+PDLModuleManager");
    PDLPersistentVarManager::getInstance()->init(false);
    PDLEventManager::getInstance()->init();
    m_pInterpreter = new PDLInterpreter;
    notifyLifecycle("+PDLInterpreter");
    m_pRCLPConnector = new RCLPConnector;
    notifyLifecycle("+RCLPConnector");
}

PanelFunctionSystem::~PanelFunctionSystem()
{
    // No new client may reach the connector while the core goes away.
    stopRCLPListener();
    // A thread held at a breakpoint would keep the main loop from ending.
    PDLDebugger::shutdown();
    PDLEventManager::getInstance()->deinit();
    PDLModuleManager::destroyInstance();
    notifyLifecycle("-PDLModuleManager");
    PDLEventManager::destroyInstance();
    notifyLifecycle("-PDLEventManager");
    PDLPhysicalWidgetManager::destroyInstance();
    notifyLifecycle("-PDLPhysicalWidgetManager");
    PDLPersistentVarManager::destroyInstance();
    notifyLifecycle("-PDLPersistentVarManager");
    delete m_pInterpreter;
    m_pInterpreter = nullptr;
    notifyLifecycle("-PDLInterpreter");
    delete m_pRCLPConnector;
    m_pRCLPConnector = nullptr;
    notifyLifecycle("-RCLPConnector");
    // Last: the destructors of widgets and sequences still call the panel state.
    PDLPanelState::destroyInstance();
    notifyLifecycle("-PDLPanelState");
}

namespace
{
// The IInterface base of pObject if it really offers T, else null.
template <class T, class M>
IInterface* offered(M* pObject)
{
    T* pInterface = getInterface<T>(pObject);
    return pInterface != nullptr ? static_cast<IInterface*>(pInterface) : nullptr;
}
} // namespace

IInterface* PanelFunctionSystem::queryInterface(unsigned int id)
{
    switch (id)
    {
    case eIPanelEvent:
        return offered<IPanelEvent>(PDLEventManager::getInstance());
    case eIEventManager:
        return offered<IEventManager>(PDLEventManager::getInstance());
    case eIWidgetControl:
    {
        // The widget manager answers for itself; what it offers is checked by its own table.
        return PDLPhysicalWidgetManager::getInstance()->queryInterface(id);
    }
    case eIPDLInterpreter:
        return offered<IPDLInterpreter>(m_pInterpreter);
    case eIModuleManager:
        return offered<IModuleManager>(PDLModuleManager::getInstance());
    case eIModuleTest:
        return offered<IModuleTest>(PDLModuleManager::getInstance());
    case eIPanelState:
    case eIPSPublisher:
        return PDLPanelState::getInstance()->queryInterface(id);
    default:
        return nullptr;
    }
}

void PanelFunctionSystem::deinit()
{
    // The panel stops: a thread held at a breakpoint is let go first, so that nothing of the stop waits
    // for a mutex it holds.
    PDLDebugger::shutdown();
    PDLPhysicalWidgetManager::getInstance()->deinit();
}

void PanelFunctionSystem::setPanelFeedbackInterface(IPanelFeedback* pPanelFeedback) const
{
    PDLPhysicalWidgetManager::getInstance()->setPanelFeedbackInterface(pPanelFeedback);
}

void PanelFunctionSystem::setFunctionIDInterface(IFunctionID* pFunctionID) const
{
    PDLModuleManager::getInstance()->setFunctionIDInterface(pFunctionID);
    if (m_pRCLPConnector != nullptr)
    {
        m_pRCLPConnector->setFunctionIDInterface(pFunctionID);
    }
}

void PanelFunctionSystem::setMacroSystemInterface(IMacroSystem* pMacroSystem) const
{
    PDLEventManager::getInstance()->setMacroSystemInterface(pMacroSystem);
}

void PanelFunctionSystem::startRCLPListener()
{
    if (m_pRCLPListener != nullptr)
    {
        return;
    }
    m_pRCLPListener = new RCLPListener(RCLPListener::eTransportTCP);
    m_pRCLPListener->listen(rtk::HostAddress(rtk::HostAddress::eSpecialAny).getAddressString(), 56662,
                            m_pRCLPConnector);
}

void PanelFunctionSystem::stopRCLPListener()
{
    delete m_pRCLPListener;
    m_pRCLPListener = nullptr;
}
