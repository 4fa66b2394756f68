#ifndef RCLPSERVER_H
#define RCLPSERVER_H

// RCLPConnector: the remote control link's side of the core, handed to the listener.

class IFunctionID;

class RCLPConnector
{
public:
    RCLPConnector();
    virtual ~RCLPConnector();

    void setFunctionIDInterface(IFunctionID* pFunctionID) { m_pFunctionID = pFunctionID; }
    IFunctionID* getFunctionIDInterface() const { return m_pFunctionID; }

private:
    RCLPConnector(RCLPConnector const&) = delete;
    RCLPConnector& operator=(RCLPConnector const&) = delete;

    IFunctionID* m_pFunctionID;
};

#endif
