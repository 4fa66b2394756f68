#include "rtk/hostaddress.h"

#include <arpa/inet.h>

namespace rtk
{
HostAddress::HostAddress(int special)
{
    switch (special)
    {
    case eSpecialAny:
        m_text = "0.0.0.0";
        break;
    case eSpecialLoopback:
        m_text = "127.0.0.1";
        break;
    default:
        break;
    }
}

bool HostAddress::isValid() const
{
    unsigned char buffer[sizeof(struct in6_addr)];
    return inet_pton(AF_INET, m_text.c_str(), buffer) == 1 ||
           inet_pton(AF_INET6, m_text.c_str(), buffer) == 1;
}
} // namespace rtk
