#ifndef BASEKIT_UNIQUEIDS_H
#define BASEKIT_UNIQUEIDS_H

#include "rtk/assert.h"

#include <cstdint>
#include <iosfwd>
#include <string>

// Position of a panel module: bits 15-13 workplace, 12-8 group, 7-0 module.
// Ordered by the 16-bit value; printed as dotted decimal "workplace.group.module".
class UniqueModuleID
{
public:
    UniqueModuleID() : m_value(0) {}
    explicit UniqueModuleID(uint16_t value) : m_value(value) {}

    // A breach of the ranges is a programming fault and ends the process.
    UniqueModuleID(uint16_t workplaceID, uint16_t groupID, uint16_t moduleID)
    {
        RTK_ASSERT(workplaceID < 8 && groupID < 32 && moduleID < 256);
        m_value = static_cast<uint16_t>((workplaceID << 13) | (groupID << 8) | moduleID);
    }

    uint16_t getValue() const { return m_value; }
    uint16_t getWorkplaceID() const { return static_cast<uint16_t>(m_value >> 13); }
    uint16_t getGroupID() const { return static_cast<uint16_t>((m_value >> 8) & 0x1f); }
    uint16_t getModuleID() const { return static_cast<uint16_t>(m_value & 0xff); }

    bool operator==(UniqueModuleID const& other) const { return m_value == other.m_value; }
    bool operator!=(UniqueModuleID const& other) const { return m_value != other.m_value; }
    bool operator<(UniqueModuleID const& other) const { return m_value < other.m_value; }

    std::string toString() const;

private:
    uint16_t m_value;
};

// A control of a module: bits 31-29 workplace, 28-24 group, 23-16 module, 15-0 widget number.
// Ordered by the 32-bit value; printed as dotted decimal "workplace.group.module.widget".
class UniqueWidgetID
{
public:
    UniqueWidgetID() : m_value(0) {}
    explicit UniqueWidgetID(uint32_t value) : m_value(value) {}

    // Checks the module part as UniqueModuleID's checking constructor does.
    UniqueWidgetID(uint16_t workplaceID, uint16_t groupID, uint16_t moduleID, uint16_t widgetID)
        : UniqueWidgetID(UniqueModuleID(workplaceID, groupID, moduleID), widgetID)
    {
    }

    UniqueWidgetID(UniqueModuleID const& moduleID, uint16_t widgetID)
        : m_value((static_cast<uint32_t>(moduleID.getValue()) << 16) | widgetID)
    {
    }

    uint32_t getValue() const { return m_value; }
    uint16_t getWorkplaceID() const { return static_cast<uint16_t>(m_value >> 29); }
    uint16_t getGroupID() const { return static_cast<uint16_t>((m_value >> 24) & 0x1f); }
    uint16_t getModuleID() const { return static_cast<uint16_t>((m_value >> 16) & 0xff); }
    uint16_t getWidgetID() const { return static_cast<uint16_t>(m_value & 0xffff); }
    UniqueModuleID getUniqueModuleID() const { return UniqueModuleID(static_cast<uint16_t>(m_value >> 16)); }

    bool operator==(UniqueWidgetID const& other) const { return m_value == other.m_value; }
    bool operator!=(UniqueWidgetID const& other) const { return m_value != other.m_value; }
    bool operator<(UniqueWidgetID const& other) const { return m_value < other.m_value; }

    std::string toString() const;

private:
    uint32_t m_value;
};

std::ostream& operator<<(std::ostream& os, UniqueModuleID const& id);
std::ostream& operator<<(std::ostream& os, UniqueWidgetID const& id);

#endif
