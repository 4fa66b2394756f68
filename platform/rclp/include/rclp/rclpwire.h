#ifndef RCLP_RCLPWIRE_H
#define RCLP_RCLPWIRE_H

// The wire format of the remote control link: one JSON object per line (UTF-8, ended by a line feed,
// at most 64 KiB without the line feed). Values travel as texts.
//   client to server  {"op":"subscribe","fid":F}  {"op":"unsubscribe","fid":F}
//                     {"op":"call","fid":F,"params":[[NAME,VALUE],...]}
//                     {"op":"set","fid":F,"value":V}  {"op":"trigger","fid":F,"value":V}
//   server to client  {"op":"update","fid":F,"value":V}  {"op":"trigger","fid":F,"value":V}
//                     {"op":"error","message":TEXT}

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

class IRCLPServer;

// A value for the wire, built from a text.
class ParameterValue
{
public:
    explicit ParameterValue(std::string const& text) : m_text(text) {}
    std::string const& getText() const { return m_text; }

private:
    std::string m_text;
};

// The name and value texts of a call, in the order the client gave them.
class ParameterList
{
public:
    void add(std::string const& name, std::string const& value) { m_params.emplace_back(name, value); }
    size_t getCount() const { return m_params.size(); }
    // False behind the last parameter.
    bool getParam(unsigned int index, std::string& name, std::string& value) const;

private:
    std::vector<std::pair<std::string, std::string>> m_params;
};

// One decoded message, of either direction.
struct RCLPMessage
{
    enum EOp
    {
        eOpNone,
        eOpSubscribe,
        eOpUnsubscribe,
        eOpCall,
        eOpSet,
        eOpTrigger,
        eOpUpdate,
        eOpError
    };

    EOp m_op = eOpNone;
    std::string m_fid;
    std::string m_value; // set, trigger, update; the text of an error
    ParameterList m_params;
};

class RCLPWire
{
public:
    // The longest line accepted, without its line feed.
    static constexpr size_t s_maxLineLength = 65536;

    // A line from a client (without its line feed). False with a message for the error answer.
    static bool parseClientLine(std::string const& line, RCLPMessage& message, std::string& error);
    // A line from the server, for clients: update, trigger or error. False with a reason.
    static bool parseServerLine(std::string const& line, RCLPMessage& message, std::string& error);

    // Hands a client message to the server; the error answer's text when it cannot be done, else "".
    // Malformed patterns are refused here, before the server sees them.
    static std::string dispatch(RCLPMessage& message, IRCLPServer& server);

    // Complete lines, each ended by a line feed. Texts that are not valid UTF-8 are sent with the
    // replacement character in place of the bad bytes.
    static std::string formatUpdate(std::string const& fid, std::string const& value);
    static std::string formatTrigger(std::string const& fid, std::string const& value);
    static std::string formatError(std::string const& message);
    static std::string formatSubscribe(std::string const& fid);
    static std::string formatUnsubscribe(std::string const& fid);
    static std::string formatSet(std::string const& fid, std::string const& value);
    static std::string formatTriggerRequest(std::string const& fid, std::string const& value);
    static std::string formatCall(std::string const& fid, ParameterList const& params);

    // A JSON string literal of text (with its quotes).
    static std::string quote(std::string const& text);
};

// Cuts a byte stream into lines. A line longer than the limit is an overflow: feed returns false and
// the reader keeps nothing more.
class RCLPLineReader
{
public:
    explicit RCLPLineReader(size_t maxLineLength = RCLPWire::s_maxLineLength) : m_maxLineLength(maxLineLength) {}

    // Calls onLine for each complete line, without its line feed (a carriage return before it is
    // dropped too). False on overflow.
    bool feed(char const* pData, size_t size, std::function<void(std::string const&)> const& onLine);
    bool hasOverflowed() const { return m_overflow; }
    // Bytes of an unfinished line held.
    size_t getPending() const { return m_pending.size(); }

private:
    bool overflow();

    size_t m_maxLineLength;
    std::string m_pending;
    bool m_overflow = false;
};

#endif
