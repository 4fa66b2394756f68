#include "simlink/simline.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace simlink
{
char const* const s_verbHello = "HELLO";
char const* const s_verbBool = "BOOL";
char const* const s_verbNumeric = "NUM";
char const* const s_verbText = "TEXT";
char const* const s_verbTrigger = "TRIGGER";
char const* const s_verbDefault = "DEFAULT";
char const* const s_verbWidget = "WIDGET";
char const* const s_verbModule = "MODULE";
char const* const s_verbUnplug = "UNPLUG";
char const* const s_verbAlive = "ALIVE";
char const* const s_verbPress = "PRESS";
char const* const s_verbRelease = "RELEASE";
char const* const s_verbMove = "MOVE";
char const* const s_verbEvent = "EVENT";
char const* const s_verbSync = "SYNC";

namespace
{
bool isBare(unsigned char c)
{
    return c > 0x20 && c != 0x7F && c != '"' && c != '\\';
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// A decimal number without sign or leading zeros, at most max.
bool parseField(std::string const& text, unsigned long max, unsigned long& value)
{
    if (text.empty() || text.size() > 5 || (text.size() > 1 && text[0] == '0'))
        return false;
    value = 0;
    for (char c : text)
    {
        if (c < '0' || c > '9')
            return false;
        value = value * 10 + static_cast<unsigned long>(c - '0');
    }
    return value <= max;
}

// Splits "a.b.c" into exactly count decimal fields within their limits.
bool parseDotted(std::string const& text, size_t count, unsigned long const* pLimits, unsigned long* pValues)
{
    size_t start = 0;
    for (size_t i = 0; i < count; ++i)
    {
        size_t const end = i + 1 < count ? text.find('.', start) : text.size();
        if (end == std::string::npos || !parseField(text.substr(start, end - start), pLimits[i], pValues[i]))
            return false;
        start = end + 1;
    }
    return true;
}
} // namespace

std::string quote(std::string const& field)
{
    bool bare = !field.empty();
    for (char c : field)
        bare = bare && isBare(static_cast<unsigned char>(c));
    if (bare)
        return field;
    static char const s_hex[] = "0123456789ABCDEF";
    std::string out = "\"";
    for (char c : field)
    {
        unsigned char const byte = static_cast<unsigned char>(c);
        switch (c)
        {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (byte < 0x20 || byte == 0x7F)
            {
                out += "\\x";
                out += s_hex[byte >> 4];
                out += s_hex[byte & 0xF];
            }
            else
            {
                out += c;
            }
        }
    }
    out += '"';
    return out;
}

std::string makeLine(std::string const& verb, std::vector<std::string> const& fields)
{
    std::string line = verb;
    for (std::string const& field : fields)
    {
        line += ' ';
        line += quote(field);
    }
    return line;
}

bool splitLine(std::string const& line, std::vector<std::string>& fields, std::string& error)
{
    fields.clear();
    size_t end = line.size();
    if (end > 0 && line[end - 1] == '\n')
        --end;
    if (end > 0 && line[end - 1] == '\r')
        --end;
    size_t i = 0;
    while (i < end)
    {
        char const c = line[i];
        if (c == ' ')
        {
            ++i;
            continue;
        }
        std::string field;
        if (c != '"')
        {
            for (; i < end && line[i] != ' '; ++i)
            {
                if (!isBare(static_cast<unsigned char>(line[i])))
                {
                    error = "unquoted control byte, quote or backslash";
                    return false;
                }
                field += line[i];
            }
            fields.push_back(field);
            continue;
        }
        bool closed = false;
        for (++i; i < end && !closed; ++i)
        {
            char const d = line[i];
            if (d == '"')
            {
                closed = true;
                continue;
            }
            unsigned char const byte = static_cast<unsigned char>(d);
            if (byte < 0x20 || byte == 0x7F)
            {
                error = "control byte inside quotes";
                return false;
            }
            if (d != '\\')
            {
                field += d;
                continue;
            }
            if (++i >= end)
                break;
            switch (line[i])
            {
            case '"':
                field += '"';
                break;
            case '\\':
                field += '\\';
                break;
            case 'n':
                field += '\n';
                break;
            case 'r':
                field += '\r';
                break;
            case 't':
                field += '\t';
                break;
            case 'x':
            {
                int const high = i + 1 < end ? hexDigit(line[i + 1]) : -1;
                int const low = i + 2 < end ? hexDigit(line[i + 2]) : -1;
                if (high < 0 || low < 0)
                {
                    error = "bad \\x escape";
                    return false;
                }
                field += static_cast<char>(high * 16 + low);
                i += 2;
                break;
            }
            default:
                error = "unknown escape";
                return false;
            }
        }
        if (!closed)
        {
            error = "unterminated quote";
            return false;
        }
        if (i < end && line[i] != ' ')
        {
            error = "text after a closing quote";
            return false;
        }
        fields.push_back(field);
    }
    if (fields.empty())
    {
        error = "empty line";
        return false;
    }
    return true;
}

bool parseWidgetID(std::string const& text, UniqueWidgetID& id)
{
    static unsigned long const s_limits[4] = {7, 31, 255, 65535};
    unsigned long values[4] = {0, 0, 0, 0};
    if (!parseDotted(text, 4, s_limits, values))
        return false;
    id = UniqueWidgetID(static_cast<uint32_t>((values[0] << 29) | (values[1] << 24) | (values[2] << 16) | values[3]));
    return true;
}

bool parseModuleID(std::string const& text, UniqueModuleID& id)
{
    static unsigned long const s_limits[3] = {7, 31, 255};
    unsigned long values[3] = {0, 0, 0};
    if (!parseDotted(text, 3, s_limits, values))
        return false;
    id = UniqueModuleID(static_cast<uint16_t>((values[0] << 13) | (values[1] << 8) | values[2]));
    return true;
}

bool parseInt(std::string const& text, int& value)
{
    if (text.empty() || text[0] == '+' || text[0] == ' ')
        return false;
    char* pEnd = nullptr;
    errno = 0;
    long const number = std::strtol(text.c_str(), &pEnd, 10);
    if (*pEnd != '\0' || errno == ERANGE || number < INT_MIN || number > INT_MAX)
        return false;
    value = static_cast<int>(number);
    return true;
}

bool parseEventLine(std::string const& line, SimEvent& event, std::string& error)
{
    std::vector<std::string> fields;
    if (!splitLine(line, fields, error))
        return false;
    std::string const& verb = fields[0];
    size_t const count = fields.size();
    if (verb != s_verbPress && verb != s_verbRelease && verb != s_verbMove && verb != s_verbEvent)
    {
        error = "unknown verb \"" + verb + "\"";
        return false;
    }
    if (count < 2 || !parseWidgetID(fields[1], event.m_id))
    {
        error = count < 2 ? "no widget id" : "bad widget id \"" + fields[1] + "\"";
        return false;
    }
    event.m_value = 0;
    event.m_transient = false;
    if (verb == s_verbPress || verb == s_verbRelease)
    {
        event.m_name = verb == s_verbPress ? "DOWN" : "UP";
        if (count == 2)
            return true;
    }
    else if (verb == s_verbMove)
    {
        event.m_name = "MOVE";
        if (count == 3 && parseInt(fields[2], event.m_value))
            return true;
    }
    else if (count >= 3 && count <= 5 && !fields[2].empty() && (count < 4 || parseInt(fields[3], event.m_value)) &&
             (count < 5 || fields[4] == "transient"))
    {
        // EVENT: any event by name.
        event.m_name = fields[2];
        event.m_transient = count == 5;
        return true;
    }
    error = "bad fields for " + verb;
    return false;
}

bool isSyncLine(std::string const& line)
{
    std::vector<std::string> fields;
    std::string error;
    return splitLine(line, fields, error) && fields.size() == 1 && fields[0] == s_verbSync;
}
} // namespace simlink
