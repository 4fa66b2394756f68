#include "rclpserver.h"

#include "pdlinterpreter.h"

#include "basekit/fidhelper.h"
#include "logkit/logging.h"
#include "rtk/assert.h"
#include "rtk/file.h"
#include "rtk/path.h"
#include "rtk/thread.h"

#include <interfaces/ifunctionid.h>

#include <iostream>

char const* const RCLPServer::RCLP_CON_FILE_PATH = "rclpConnections.txt";
char const* const RCLPConnector::RCLP_CON_FILE_NAME = "rclpConnections.txt";

namespace
{
Orvane::Utilities::Logging::LogStream& rclpInfo()
{
    static Orvane::Utilities::Logging::LogCategory s_log("RCLP");
    return s_log.info();
}

// Holds the interpreter mutex for a scope (it is recursive for its owner).
class InterpreterMutex
{
public:
    InterpreterMutex() { PDLInterpreter::mutexTake(); }
    ~InterpreterMutex() { PDLInterpreter::mutexGive(); }
    InterpreterMutex(InterpreterMutex const&) = delete;
    InterpreterMutex& operator=(InterpreterMutex const&) = delete;
};

// Both unsubscribe forms, chosen by the text.
void unsubscribeFromState(std::string const& fid, PDLStateSubscriberKey const& key)
{
    if (FIDPatternHelper::isParameterized(fid))
    {
        PDLPanelState::getInstance()->unsubscribeWildcard(FIDPatternHelper(fid), key);
    }
    else
    {
        PDLPanelState::getInstance()->unsubscribe(fid, key);
    }
}
} // namespace

// ---------------------------------------------------------------------------------------------------
// RCLPServer

RCLPServer::RCLPServer(IFunctionID* pFunctionID)
    : m_pConnection(nullptr), m_pFunctionID(pFunctionID), m_inactive(false)
{
    rtk::File::remove(RCLPConnector::getStatusFilePath());
}

RCLPServer::~RCLPServer()
{
    if (m_pConnection != nullptr)
    {
        m_pConnection->disconnect();
        while (!m_inactive.load())
        {
            rtk::Thread::mssleep(20);
        }
        delete m_pConnection;
        m_pConnection = nullptr;
    }
}

void RCLPServer::initConnection(RCLPConnection* pConnection)
{
    m_pConnection = pConnection;
    rclpInfo() << "Accepted RCLP connection from " << peerText() << std::endl;
}

void RCLPServer::disconnect()
{
    if (m_pConnection == nullptr)
    {
        return;
    }
    rclpInfo() << "Disconnecting RCLP connection " << peerText() << std::endl;
    m_pConnection->disconnect();
}

rtk::HostAddress RCLPServer::getPeerAddress() const
{
    return m_pConnection != nullptr ? rtk::HostAddress(m_pConnection->getPeerAddress()) : rtk::HostAddress();
}

uint16_t RCLPServer::getPeerPort() const
{
    return m_pConnection != nullptr ? m_pConnection->getPeerPort() : 0;
}

std::string RCLPServer::peerText() const
{
    return getPeerAddress().getAddressString() + ":" + std::to_string(getPeerPort());
}

std::string RCLPServer::getDescription(int /*id*/) const
{
    return "RCLP client " + peerText();
}

void RCLPServer::subscribe(std::string const& fid)
{
    RTK_ASSERT(m_pConnection);
    PDLPanelState* pState = PDLPanelState::getInstance();
    bool isPattern = FIDPatternHelper::isParameterized(fid);
    {
        // The mutex also covers the map change: checkNewStateEntry reads the map on other threads.
        // Reading the present state and sending it under the mutex keeps a concurrent change from
        // overtaking it on the way to the client.
        InterpreterMutex lock;
        std::map<std::string, int32_t>::iterator it = m_subscriptions.find(fid);
        if (it != m_subscriptions.end())
        {
            ++it->second;
        }
        else
        {
            m_subscriptions.insert(std::make_pair(fid, 1));
            if (isPattern)
            {
                pState->subscribeWildcard(FIDPatternHelper(fid), key());
            }
            else
            {
                pState->subscribe(fid, key());
            }
        }
        if (isPattern)
        {
            PDLStateValueList* pValues = pState->getValueWildcard(FIDPatternHelper(fid));
            for (PDLStateValueList::value_type const& item : *pValues)
            {
                m_pConnection->updateState(item.first, ParameterValue(item.second.getString()));
            }
            delete pValues;
        }
        else
        {
            // An Invalid value gives the empty text.
            m_pConnection->updateState(fid, ParameterValue(pState->getValue(fid, false).getString()));
        }
    }
    rtk::Thread::mssleep(1);
}

void RCLPServer::unsubscribe(std::string const& fid)
{
    {
        InterpreterMutex lock;
        std::map<std::string, int32_t>::iterator it = m_subscriptions.find(fid);
        if (it != m_subscriptions.end() && --it->second <= 0)
        {
            m_subscriptions.erase(it);
            unsubscribeFromState(fid, key());
        }
    }
    rtk::Thread::mssleep(1);
}

void RCLPServer::call(std::string const& fid, ParameterList& params)
{
    FIDParameterList list;
    std::string name;
    std::string value;
    for (unsigned int i = 0; params.getParam(i, name, value); ++i)
    {
        list.add(name, value);
    }
    m_pFunctionID->callFunctionID(fid, list);
}

void RCLPServer::connStatus(EConnStatus status)
{
    if (status == eConnStatusConnected)
    {
        m_peerAddress = getPeerAddress().getAddressString();
        rclpInfo() << "RCLP client " << m_peerAddress << ":" << getPeerPort() << " Connected" << std::endl;
    }
    else if (status == eConnStatusDisconnected)
    {
        rclpInfo() << "RCLP client " << m_peerAddress << ":" << getPeerPort() << " Disconnected" << std::endl;
        connectionStatusRemove(m_peerAddress);
        // Whatever the counts, every subscription ends now.
        for (std::map<std::string, int32_t>::value_type const& item : m_subscriptions)
        {
            unsubscribeFromState(item.first, key());
            rtk::Thread::mssleep(1);
        }
        {
            InterpreterMutex lock;
            m_subscriptions.clear();
        }
        m_inactive = true;
    }
}

void RCLPServer::updateDirect(std::string const& fid, std::string const& value)
{
    if (m_pConnection == nullptr)
    {
        RTK_ASSERT(false);
    }
    m_pConnection->updateState(fid, ParameterValue(value));
}

void RCLPServer::triggerMFDriverEvent(std::string const& fid, std::string const& parameter)
{
    if (m_pConnection == nullptr)
    {
        RTK_ASSERT(false);
    }
    m_pConnection->trigger(fid, ParameterValue(parameter));
}

void RCLPServer::checkNewStateEntry(std::string const& fid)
{
    if (m_subscriptions.count(fid) != 0)
    {
        return; // subscribed by name: known already
    }
    RTK_ASSERT(m_pConnection);
    for (std::map<std::string, int32_t>::value_type const& item : m_subscriptions)
    {
        if (!FIDPatternHelper::isParameterized(item.first))
        {
            continue;
        }
        FIDPatternHelper pattern(item.first);
        if (pattern.matches(FIDHelper(fid)))
        {
            PDLPanelState* pState = PDLPanelState::getInstance();
            pState->subscribeWildcard(pattern, key());
            m_pConnection->updateState(fid, ParameterValue(pState->getValue(fid, false).getString()));
            break;
        }
    }
}

void RCLPServer::setState(std::string const& fid, ParameterValue const& value)
{
    PDLPanelState::getInstance()->setStateValue(fid, value.getText());
}

void RCLPServer::triggerState(std::string const& fid, ParameterValue const& value)
{
    PDLPanelState::getInstance()->triggerEvent(fid, value.getText());
}

void RCLPServer::connectionStatusRemove(std::string const& address)
{
    if (address.empty())
    {
        return;
    }
    rtk::Path path = RCLPConnector::getStatusFilePath();
    std::string text;
    {
        rtk::File file;
        if (!file.open(path, rtk::File::eModeRead))
        {
            return;
        }
        char buffer[2048];
        long got = file.read(buffer, sizeof(buffer));
        if (got > 0)
        {
            text.assign(buffer, static_cast<size_t>(got));
        }
    }
    size_t at = text.find(address);
    if (at == std::string::npos)
    {
        return;
    }
    text.erase(at, address.size() + 1);
    rtk::File file;
    if (file.open(path, rtk::File::eModeWriteReplace))
    {
        file.write(text);
    }
}

// ---------------------------------------------------------------------------------------------------
// RCLPConnector

RCLPConnector::RCLPConnector() : m_pFunctionID(nullptr)
{
    rtk::CmdProcessor* pCmd = rtk::CmdProcessor::getInstance();
    pCmd->registerCmd("rclpShow", "rclpShow\n\tshow list of current RCLP connections", this,
                      &RCLPConnector::shellCmdRCLPShow);
    pCmd->registerCmd("rclpDisconnect", "rclpDisconnect\n\tdisconnect all RCLP connections", this,
                      &RCLPConnector::shellCmdRCLPDisconnect);
}

RCLPConnector::~RCLPConnector()
{
    rtk::CmdProcessor::getInstance()->unregisterOwner(this);
    m_mutex.take();
    for (RCLPServer* pServer : m_servers)
    {
        delete pServer;
    }
    m_servers.clear();
    m_pFunctionID = nullptr;
    m_mutex.give();
}

rtk::Path RCLPConnector::getStatusFilePath()
{
    return rtk::Path::getTempDirPath() + RCLP_CON_FILE_NAME;
}

void RCLPConnector::acceptConnection(RCLPConnection* pConnection)
{
    RTK_ASSERT(m_pFunctionID);
    m_mutex.take();
    for (std::list<RCLPServer*>::iterator it = m_servers.begin(); it != m_servers.end();)
    {
        if ((*it)->isInactive())
        {
            delete *it;
            it = m_servers.erase(it);
        }
        else
        {
            ++it;
        }
    }
    RCLPServer* pServer = new RCLPServer(m_pFunctionID);
    pServer->initConnection(pConnection);
    pConnection->setServer(pServer);
    m_servers.push_back(pServer);
    connectionStatusUpdate();
    m_mutex.give();
}

void RCLPConnector::connectionStatusUpdate()
{
    rtk::File file;
    if (!file.open(getStatusFilePath(), rtk::File::eModeWriteReplace))
    {
        return;
    }
    for (RCLPServer* pServer : m_servers)
    {
        file.write(pServer->getPeerAddress().getAddressString() + "\n");
    }
    file.close();
}

bool RCLPConnector::shellCmdRCLPShow(rtk::CmdParameters& /*params*/)
{
    m_mutex.take();
    for (RCLPServer* pServer : m_servers)
    {
        std::cout << pServer->getPeerAddress().getAddressString() << ":" << pServer->getPeerPort()
                  << (pServer->isInactive() ? " (inactive)" : "") << std::endl;
    }
    m_mutex.give();
    return true;
}

bool RCLPConnector::shellCmdRCLPDisconnect(rtk::CmdParameters& /*params*/)
{
    m_mutex.take();
    for (RCLPServer* pServer : m_servers)
    {
        pServer->disconnect();
    }
    m_mutex.give();
    return true;
}
