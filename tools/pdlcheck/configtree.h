#ifndef PDLCHECK_CONFIGTREE_H
#define PDLCHECK_CONFIGTREE_H

// The parts of a panel's configuration tree that tell what a module's PDL may refer to: which module
// type stands at a position (Hardware.xml), which controls a module type has (ModuleTypes.xml, and
// the MHL file that announces them to the interpreter). Files that are missing or malformed give
// nothing: reporting on them is the driver's business, not the checker's.

#include <map>
#include <set>
#include <string>

struct WidgetInfo
{
    std::string m_type;
    std::string m_name;
};

class ConfigTree
{
public:
    // dir is the config directory (the one holding PDL/, MHL/ and the XML files).
    explicit ConfigTree(std::string const& dir) : m_dir(dir) {}

    std::string const& getDir() const { return m_dir; }

    // The module type and version plugged at a position according to Hardware.xml.
    bool findModule(int workplace, int group, int module, std::string& type, std::string& version) const;

    // The controls of a module type, by number. When the type's MHL file exists (the versioned one
    // first, as the panel chooses it) only the numbers it announces count, since the panel binds no
    // other. source names the file the numbers came from. False when nothing is known of the type.
    bool getWidgets(std::string const& type, std::string const& version, std::map<unsigned int, WidgetInfo>& widgets,
                    std::string& source) const;

    // What a widget type of WidgetTypes.xml offers: attributes to set or connect, and events that can
    // be triggered on it. False when the type is not described.
    bool getWidgetType(std::string const& type, std::set<std::string>& attributes,
                       std::set<std::string>& events) const;

    // The MHL file name the panel would choose, relative to the config directory.
    std::string getMHLName(std::string const& type, std::string const& version) const;

private:
    std::string m_dir;
};

#endif
