#include "rclpserver.h"

RCLPConnector::RCLPConnector() : m_pFunctionID(nullptr) {}

RCLPConnector::~RCLPConnector()
{
    m_pFunctionID = nullptr;
}
