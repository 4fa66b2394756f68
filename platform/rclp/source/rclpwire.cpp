#include "rclp/rclpwire.h"

#include "rclp/irclpserver.h"

#include "basekit/fidhelper.h"

#include <nlohmann/json.hpp>

#include <cstring>

using nlohmann::json;

bool ParameterList::getParam(unsigned int index, std::string& name, std::string& value) const
{
    if (index >= m_params.size())
    {
        return false;
    }
    name = m_params[index].first;
    value = m_params[index].second;
    return true;
}

namespace
{
// nlohmann's exception texts start with "[json.exception.KIND.N] "; the rest is what a user needs.
std::string plainReason(std::exception const& e)
{
    std::string text = e.what();
    if (!text.empty() && text[0] == '[')
    {
        size_t end = text.find("] ");
        if (end != std::string::npos)
        {
            text.erase(0, end + 2);
        }
    }
    return text;
}

// A member that must be a text. False with the reason when it is missing or of another kind.
bool textMember(json const& object, char const* pName, bool required, std::string& out, std::string& error)
{
    json::const_iterator it = object.find(pName);
    if (it == object.end())
    {
        if (required)
        {
            error = std::string("missing \"") + pName + "\"";
            return false;
        }
        out.clear();
        return true;
    }
    if (!it->is_string())
    {
        error = std::string("\"") + pName + "\" must be a text";
        return false;
    }
    out = it->get<std::string>();
    return true;
}

bool parseObject(std::string const& line, json& object, std::string& op, std::string& error)
{
    try
    {
        object = json::parse(line);
    }
    catch (json::exception const& e)
    {
        error = "invalid JSON: " + plainReason(e);
        return false;
    }
    if (!object.is_object())
    {
        error = "a message must be a JSON object";
        return false;
    }
    return textMember(object, "op", true, op, error);
}

bool fidMember(json const& object, std::string& fid, std::string& error)
{
    if (!textMember(object, "fid", true, fid, error))
    {
        return false;
    }
    if (fid.empty())
    {
        error = "\"fid\" must not be empty";
        return false;
    }
    return true;
}
} // namespace

bool RCLPWire::parseClientLine(std::string const& line, RCLPMessage& message, std::string& error)
{
    message = RCLPMessage();
    json object;
    std::string op;
    if (!parseObject(line, object, op, error))
    {
        return false;
    }
    if (op == "subscribe")
    {
        message.m_op = RCLPMessage::eOpSubscribe;
    }
    else if (op == "unsubscribe")
    {
        message.m_op = RCLPMessage::eOpUnsubscribe;
    }
    else if (op == "call")
    {
        message.m_op = RCLPMessage::eOpCall;
    }
    else if (op == "set")
    {
        message.m_op = RCLPMessage::eOpSet;
    }
    else if (op == "trigger")
    {
        message.m_op = RCLPMessage::eOpTrigger;
    }
    else
    {
        error = "unknown op " + quote(op);
        return false;
    }
    if (!fidMember(object, message.m_fid, error))
    {
        return false;
    }
    switch (message.m_op)
    {
    case RCLPMessage::eOpSet:
        return textMember(object, "value", true, message.m_value, error);
    case RCLPMessage::eOpTrigger:
        return textMember(object, "value", false, message.m_value, error);
    case RCLPMessage::eOpCall:
    {
        json::const_iterator it = object.find("params");
        if (it == object.end())
        {
            return true;
        }
        if (!it->is_array())
        {
            error = "\"params\" must be a list of [NAME,VALUE] pairs";
            return false;
        }
        for (json const& pair : *it)
        {
            if (!pair.is_array() || pair.size() != 2 || !pair[0].is_string() || !pair[1].is_string())
            {
                error = "\"params\" must be a list of [NAME,VALUE] pairs of texts";
                return false;
            }
            message.m_params.add(pair[0].get<std::string>(), pair[1].get<std::string>());
        }
        return true;
    }
    default:
        return true;
    }
}

bool RCLPWire::parseServerLine(std::string const& line, RCLPMessage& message, std::string& error)
{
    message = RCLPMessage();
    json object;
    std::string op;
    if (!parseObject(line, object, op, error))
    {
        return false;
    }
    if (op == "error")
    {
        message.m_op = RCLPMessage::eOpError;
        return textMember(object, "message", true, message.m_value, error);
    }
    if (op == "update")
    {
        message.m_op = RCLPMessage::eOpUpdate;
    }
    else if (op == "trigger")
    {
        message.m_op = RCLPMessage::eOpTrigger;
    }
    else
    {
        error = "unknown op " + quote(op);
        return false;
    }
    return fidMember(object, message.m_fid, error) && textMember(object, "value", true, message.m_value, error);
}

std::string RCLPWire::dispatch(RCLPMessage& message, IRCLPServer& server)
{
    switch (message.m_op)
    {
    case RCLPMessage::eOpSubscribe:
    case RCLPMessage::eOpUnsubscribe:
        if (FIDPatternHelper::isParameterized(message.m_fid))
        {
            FIDPatternHelper pattern(message.m_fid);
            if (!pattern.isValid())
            {
                return "malformed pattern " + quote(message.m_fid) + ": " + pattern.getError();
            }
        }
        if (message.m_op == RCLPMessage::eOpSubscribe)
        {
            server.subscribe(message.m_fid);
        }
        else
        {
            server.unsubscribe(message.m_fid);
        }
        return std::string();
    case RCLPMessage::eOpCall:
        server.call(message.m_fid, message.m_params);
        return std::string();
    case RCLPMessage::eOpSet:
    case RCLPMessage::eOpTrigger:
    {
        if (FIDPatternHelper::isParameterized(message.m_fid))
        {
            return "a pattern names no single entry: " + quote(message.m_fid);
        }
        IRCLPStateWriter* pWriter = dynamic_cast<IRCLPStateWriter*>(&server);
        if (pWriter == nullptr)
        {
            return "this server does not take \"set\" and \"trigger\"";
        }
        if (message.m_op == RCLPMessage::eOpSet)
        {
            pWriter->setState(message.m_fid, ParameterValue(message.m_value));
        }
        else
        {
            pWriter->triggerState(message.m_fid, ParameterValue(message.m_value));
        }
        return std::string();
    }
    default:
        return "not a request";
    }
}

std::string RCLPWire::quote(std::string const& text)
{
    // Bad UTF-8 becomes U+FFFD instead of an exception: panel values may hold single high bytes.
    return json(text).dump(-1, ' ', false, json::error_handler_t::replace);
}

namespace
{
std::string fidValueLine(char const* pOp, std::string const& fid, std::string const& value)
{
    std::string line = "{\"op\":\"";
    line += pOp;
    line += "\",\"fid\":";
    line += RCLPWire::quote(fid);
    line += ",\"value\":";
    line += RCLPWire::quote(value);
    line += "}\n";
    return line;
}

std::string fidLine(char const* pOp, std::string const& fid)
{
    return std::string("{\"op\":\"") + pOp + "\",\"fid\":" + RCLPWire::quote(fid) + "}\n";
}
} // namespace

std::string RCLPWire::formatUpdate(std::string const& fid, std::string const& value)
{
    return fidValueLine("update", fid, value);
}

std::string RCLPWire::formatTrigger(std::string const& fid, std::string const& value)
{
    return fidValueLine("trigger", fid, value);
}

std::string RCLPWire::formatError(std::string const& message)
{
    return "{\"op\":\"error\",\"message\":" + quote(message) + "}\n";
}

std::string RCLPWire::formatSubscribe(std::string const& fid)
{
    return fidLine("subscribe", fid);
}

std::string RCLPWire::formatUnsubscribe(std::string const& fid)
{
    return fidLine("unsubscribe", fid);
}

std::string RCLPWire::formatSet(std::string const& fid, std::string const& value)
{
    return fidValueLine("set", fid, value);
}

std::string RCLPWire::formatTriggerRequest(std::string const& fid, std::string const& value)
{
    return fidValueLine("trigger", fid, value);
}

std::string RCLPWire::formatCall(std::string const& fid, ParameterList const& params)
{
    std::string line = "{\"op\":\"call\",\"fid\":" + quote(fid) + ",\"params\":[";
    std::string name;
    std::string value;
    for (unsigned int i = 0; params.getParam(i, name, value); ++i)
    {
        if (i != 0)
        {
            line += ",";
        }
        line += "[" + quote(name) + "," + quote(value) + "]";
    }
    line += "]}\n";
    return line;
}

bool RCLPLineReader::feed(char const* pData, size_t size,
                          std::function<void(std::string const&)> const& onLine)
{
    if (m_overflow)
    {
        return false;
    }
    char const* pEnd = pData + size;
    while (pData < pEnd)
    {
        char const* pFeed = static_cast<char const*>(std::memchr(pData, '\n', static_cast<size_t>(pEnd - pData)));
        size_t take = static_cast<size_t>((pFeed != nullptr ? pFeed : pEnd) - pData);
        // One byte more than the limit may wait for its line feed: a carriage return before it.
        if (m_pending.size() + take > m_maxLineLength + 1)
        {
            return overflow();
        }
        m_pending.append(pData, take);
        if (pFeed == nullptr)
        {
            break;
        }
        if (!m_pending.empty() && m_pending.back() == '\r')
        {
            m_pending.pop_back();
        }
        if (m_pending.size() > m_maxLineLength)
        {
            return overflow();
        }
        onLine(m_pending);
        m_pending.clear();
        pData = pFeed + 1;
    }
    return true;
}

bool RCLPLineReader::overflow()
{
    m_overflow = true;
    std::string().swap(m_pending);
    return false;
}
