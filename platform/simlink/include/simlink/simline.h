#ifndef SIMLINK_SIMLINE_H
#define SIMLINK_SIMLINE_H

// The text lines of the simulator link: one line per datagram, a verb first, then fields separated by
// blanks. A field that is empty or holds a blank, a double quote, a backslash or a byte below 0x21 or
// 0x7F is written in double quotes with C escapes (\" \\ \n \r \t \xHH); bytes from 0x80 pass as they
// are. The verbs and their fields are listed in SimLine below and in docs/architecture.md.

#include <basekit/uniqueids.h>

#include <string>
#include <vector>

namespace simlink
{
// Core to simulator.
extern char const* const s_verbHello;   // HELLO <protocol version>: the link is up
extern char const* const s_verbBool;    // BOOL <w.g.m.n> <attribute> <0|1>
extern char const* const s_verbNumeric; // NUM <w.g.m.n> <attribute> <decimal>
extern char const* const s_verbText;    // TEXT <w.g.m.n> <attribute> <text>
extern char const* const s_verbTrigger; // TRIGGER <w.g.m.n> <event> <text>
extern char const* const s_verbDefault; // DEFAULT <w.g.m.n>: the control went back to its defaults
extern char const* const s_verbWidget;  // WIDGET <w.g.m.n>: the core made the control's widget
extern char const* const s_verbModule;  // MODULE <w.g.m> <type> <version>: a module was reported
extern char const* const s_verbUnplug;  // UNPLUG <w.g.m>: a module has gone
extern char const* const s_verbAlive;   // ALIVE: nothing else was sent for a while; the core is there
// Simulator to core.
extern char const* const s_verbPress;   // PRESS <w.g.m.n>: the event DOWN
extern char const* const s_verbRelease; // RELEASE <w.g.m.n>: the event UP
extern char const* const s_verbMove;    // MOVE <w.g.m.n> <decimal>: the event MOVE with that value
extern char const* const s_verbEvent;   // EVENT <w.g.m.n> <name> [<decimal> [transient]]: any event
extern char const* const s_verbSync;    // SYNC: send the panel as it stands (HELLO, then what the link sent)

// The version HELLO carries; a simulator ignores verbs it does not know.
int const s_protocolVersion = 1;

// A field as it goes on the line: bare when that is unambiguous, else quoted.
std::string quote(std::string const& field);
// Joins the verb and the fields into one line, without a line end.
std::string makeLine(std::string const& verb, std::vector<std::string> const& fields);
// Splits a line (a trailing "\n" or "\r\n" allowed) into its fields, the verb first, undoing the
// quoting. False, with the reason, for an empty line, a bad quote or escape, or a line end inside.
bool splitLine(std::string const& line, std::vector<std::string>& fields, std::string& error);

// "w.g.m.n" in decimal, each field within its range (workplace 0-7, group 0-31, module 0-255,
// widget 0-65535); no signs, blanks or leading zeros.
bool parseWidgetID(std::string const& text, UniqueWidgetID& id);
// "w.g.m".
bool parseModuleID(std::string const& text, UniqueModuleID& id);
// A whole decimal int with an optional minus sign.
bool parseInt(std::string const& text, int& value);

// A hardware event as a simulator line gives it.
struct SimEvent
{
    UniqueWidgetID m_id;
    std::string m_name;
    int m_value = 0;
    bool m_transient = false;
};

// Reads a line from the simulator into an event; false, with the reason, for anything else.
bool parseEventLine(std::string const& line, SimEvent& event, std::string& error);
// True for a SYNC line (the verb alone, a line end allowed).
bool isSyncLine(std::string const& line);
} // namespace simlink

#endif
