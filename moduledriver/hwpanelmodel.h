#ifndef MODULEDRIVER_HWPANELMODEL_H
#define MODULEDRIVER_HWPANELMODEL_H

// The simulated panel: the widget and module type catalogue read from XML, the inventory of modules
// (which type sits where) and every widget's attribute values. All operations lock the model, so the
// driver's thread, the PDL thread and the shell may use it at the same time.

#include <basekit/uniqueids.h>
#include <interfaces/ipanelfeedback.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace hwsim
{
typedef IPanelFeedback::EWidgetParameterType EParamType;

// An attribute or receive event of a widget type.
struct WidgetParameter
{
    EParamType m_type = IPanelFeedback::eParamTypeUnknown;
    // Canonical text: "true"/"false", a decimal number, or the text itself.
    std::string m_default;
};

struct WidgetType
{
    std::string m_name;
    std::map<std::string, WidgetParameter> m_attributes;
    std::map<std::string, EParamType> m_receiveEvents;
};

struct ModuleWidget
{
    uint16_t m_number = 0;
    std::string m_type;
    std::string m_name;
};

struct ModuleType
{
    std::string m_name;
    std::map<uint16_t, ModuleWidget> m_widgets;
};

// One module of the inventory file: where it is connected and where it stands in the panel.
struct InventoryEntry
{
    int m_port = 0;
    int m_connector = 0;
    int m_workplace = 0;
    int m_group = 0;
    int m_module = 0;
    std::string m_type;
    std::string m_version;
    int m_line = 0;
};

struct PluggedModule
{
    int m_port = 0;
    int m_connector = 0;
    std::string m_type;
    std::string m_version;
};

// Parses a parameter type name ("bool", "text", "numeric"); eParamTypeUnknown for anything else.
EParamType parseParamType(std::string const& text);
// The canonical text of value for type, false when value does not fit the type.
bool canonicalValue(EParamType type, std::string const& value, std::string& canonical);
// A whole decimal int (optional sign, no blanks); false for anything else.
bool parseInt(std::string const& text, int& value);

class HwPanelModel
{
public:
    HwPanelModel() {}

    // The readers print "FILE(LINE): message" on standard error for a bad file and return false; the
    // model keeps what it had then.
    bool readWidgetTypes(std::string const& file);
    // Needs the widget types.
    bool readModuleTypes(std::string const& file);
    // Reads an inventory file (Hardware.xml or an override file) into entries; needs the module types.
    bool readInventory(std::string const& file, std::vector<InventoryEntry>& entries) const;
    // Reads an MHL file: the widget numbers it announces. expectedType, when not empty, must be the
    // file's module type; moduleType receives the file's type.
    bool readMHL(std::string const& file, std::string const& expectedType, std::string& moduleType,
                 std::vector<uint16_t>& widgets) const;

    bool hasWidgetType(std::string const& name) const;
    bool hasModuleType(std::string const& name) const;
    size_t getWidgetTypeCount() const;
    size_t getModuleTypeCount() const;
    // Copies of a catalogue entry, for tools that draw the panel; false when the name is not known.
    bool findWidgetType(std::string const& name, WidgetType& type) const;
    bool findModuleType(std::string const& name, ModuleType& type) const;

    // Puts a module at id with default attributes for its widgets; false for an unknown type. A module
    // already there is replaced.
    bool plug(UniqueModuleID const& id, PluggedModule const& module);
    // False when no module was plugged at id. Drops the module's attribute records.
    bool unplug(UniqueModuleID const& id);
    bool isPlugged(UniqueModuleID const& id) const;
    bool getPlugged(UniqueModuleID const& id, PluggedModule& module) const;
    std::vector<std::pair<UniqueModuleID, PluggedModule>> getPluggedModules() const;
    // True when the module at id is plugged and its type has that widget.
    bool hasWidget(UniqueWidgetID const& id) const;

    // Gives the widgets of a module of type moduleType attribute records with defaults, unless they
    // have them already (modules announced by an MHL file without being plugged).
    bool ensureWidgets(UniqueModuleID const& id, std::string const& moduleType,
                       std::vector<uint16_t> const& widgets);

    EParamType getAttributeType(UniqueWidgetID const& id, std::string const& attribute) const;
    EParamType getReceiveEventType(UniqueWidgetID const& id, std::string const& event) const;
    // Writes an attribute given as text of its own type (see canonicalValue); false for an unknown
    // widget or attribute, or a value of the wrong kind.
    bool setAttribute(UniqueWidgetID const& id, std::string const& attribute, EParamType kind,
                      std::string const& value);
    // The attribute's canonical text; false when the widget or attribute is unknown or of another kind.
    bool getAttribute(UniqueWidgetID const& id, std::string const& attribute, EParamType kind,
                      std::string& value) const;
    // Back to the widget type's defaults; forgets triggers.
    bool setDefaults(UniqueWidgetID const& id);
    // Records the last value of a receive event; false when the widget type has no such event.
    bool trigger(UniqueWidgetID const& id, std::string const& event, std::string const& value);

    // "W.G.M.WIDGET NAME=VALUE" for every attribute (and triggered receive event) of the module's
    // widgets, or of one widget when widget is not 0, sorted by widget, then name.
    std::vector<std::string> show(UniqueModuleID const& id, uint16_t widget) const;
    // True when the module has attribute records (plugged or announced).
    bool hasRecords(UniqueModuleID const& id) const;
    // True when the widget has an attribute record, even one without attributes.
    bool hasRecord(UniqueWidgetID const& id) const;

private:
    struct WidgetRecord
    {
        std::string m_type;
        std::map<std::string, std::string> m_values;
    };

    WidgetType const* findWidgetTypeLocked(UniqueWidgetID const& id) const;
    void createRecordsLocked(UniqueModuleID const& id, ModuleType const& type,
                             std::vector<uint16_t> const* pOnly, bool keepExisting);

    mutable std::mutex m_lock;
    std::map<std::string, WidgetType> m_widgetTypes;
    std::map<std::string, ModuleType> m_moduleTypes;
    std::map<UniqueModuleID, PluggedModule> m_plugged;
    std::map<UniqueWidgetID, WidgetRecord> m_records;
};
} // namespace hwsim

#endif
