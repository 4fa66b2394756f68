#ifndef RTK_HOSTADDRESS_H
#define RTK_HOSTADDRESS_H

#include <string>

namespace rtk
{
// A network host address held as its numeric text ("192.168.0.4", "::1"). Empty when not set.
class HostAddress
{
public:
    enum ESpecial
    {
        eSpecialNone = 0,     // the empty address
        eSpecialLoopback = 1, // "127.0.0.1"
        eSpecialAny = 4       // "0.0.0.0": every local address (listening)
    };

    HostAddress() {}
    explicit HostAddress(int special);
    explicit HostAddress(std::string const& text) : m_text(text) {}

    std::string getAddressString() const { return m_text; }
    bool isEmpty() const { return m_text.empty(); }
    // True when the text is a numeric IPv4 or IPv6 address.
    bool isValid() const;

    bool operator==(HostAddress const& other) const { return m_text == other.m_text; }
    bool operator!=(HostAddress const& other) const { return m_text != other.m_text; }

private:
    std::string m_text;
};
} // namespace rtk

#endif
