#include "configtree.h"

#include <tinyxml.h>

#include <cstdlib>
#include <sys/stat.h>

namespace
{
bool fileExists(std::string const& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 && !S_ISDIR(info.st_mode);
}

bool readInt(TiXmlElement const* pElement, char const* pName, int& value)
{
    char const* pText = pElement->Attribute(pName);
    if (pText == nullptr || *pText == '\0')
    {
        return false;
    }
    char* pEnd = nullptr;
    long const number = std::strtol(pText, &pEnd, 10);
    if (*pEnd != '\0')
    {
        return false;
    }
    value = static_cast<int>(number);
    return true;
}

std::string readText(TiXmlElement const* pElement, char const* pName)
{
    char const* pText = pElement->Attribute(pName);
    return pText != nullptr ? std::string(pText) : std::string();
}
} // namespace

bool ConfigTree::findModule(int workplace, int group, int module, std::string& type, std::string& version) const
{
    TiXmlDocument doc(m_dir + "/Hardware.xml");
    if (!doc.LoadFile() || doc.RootElement() == nullptr)
    {
        return false;
    }
    for (TiXmlElement const* pModule = doc.RootElement()->FirstChildElement("module"); pModule != nullptr;
         pModule = pModule->NextSiblingElement("module"))
    {
        int w = -1;
        int g = -1;
        int m = -1;
        if (readInt(pModule, "workplace", w) && readInt(pModule, "group", g) && readInt(pModule, "number", m) &&
            w == workplace && g == group && m == module)
        {
            type = readText(pModule, "type");
            version = readText(pModule, "version");
            return !type.empty();
        }
    }
    return false;
}

std::string ConfigTree::getMHLName(std::string const& type, std::string const& version) const
{
    if (!version.empty())
    {
        std::string const versioned = "MHL/" + type + "_" + version + ".mhl";
        if (fileExists(m_dir + "/" + versioned))
        {
            return versioned;
        }
    }
    return "MHL/" + type + ".mhl";
}

bool ConfigTree::getWidgets(std::string const& type, std::string const& version,
                            std::map<unsigned int, WidgetInfo>& widgets, std::string& source) const
{
    widgets.clear();
    bool known = false;
    TiXmlDocument types(m_dir + "/ModuleTypes.xml");
    if (types.LoadFile() && types.RootElement() != nullptr)
    {
        for (TiXmlElement const* pType = types.RootElement()->FirstChildElement("moduleType"); pType != nullptr;
             pType = pType->NextSiblingElement("moduleType"))
        {
            if (readText(pType, "name") != type)
            {
                continue;
            }
            known = true;
            source = "ModuleTypes.xml";
            for (TiXmlElement const* pWidget = pType->FirstChildElement("widget"); pWidget != nullptr;
                 pWidget = pWidget->NextSiblingElement("widget"))
            {
                int number = 0;
                if (readInt(pWidget, "number", number) && number > 0)
                {
                    widgets[static_cast<unsigned int>(number)] =
                        WidgetInfo{readText(pWidget, "type"), readText(pWidget, "name")};
                }
            }
            break;
        }
    }

    std::string const mhlName = getMHLName(type, version);
    TiXmlDocument mhl(m_dir + "/" + mhlName);
    if (!mhl.LoadFile() || mhl.RootElement() == nullptr)
    {
        return known;
    }
    std::set<unsigned int> announced;
    for (TiXmlElement const* pWidget = mhl.RootElement()->FirstChildElement("widget"); pWidget != nullptr;
         pWidget = pWidget->NextSiblingElement("widget"))
    {
        int number = 0;
        if (readInt(pWidget, "number", number) && number > 0)
        {
            announced.insert(static_cast<unsigned int>(number));
        }
    }
    // The MHL file decides which numbers the panel binds; the module type adds names and types.
    std::map<unsigned int, WidgetInfo> bound;
    for (unsigned int number : announced)
    {
        auto const it = widgets.find(number);
        bound[number] = it != widgets.end() ? it->second : WidgetInfo();
    }
    widgets.swap(bound);
    source = mhlName;
    return true;
}

bool ConfigTree::getWidgetType(std::string const& type, std::set<std::string>& attributes,
                               std::set<std::string>& events) const
{
    attributes.clear();
    events.clear();
    TiXmlDocument doc(m_dir + "/WidgetTypes.xml");
    if (!doc.LoadFile() || doc.RootElement() == nullptr)
    {
        return false;
    }
    for (TiXmlElement const* pType = doc.RootElement()->FirstChildElement("widgetType"); pType != nullptr;
         pType = pType->NextSiblingElement("widgetType"))
    {
        if (readText(pType, "name") != type)
        {
            continue;
        }
        for (TiXmlElement const* pItem = pType->FirstChildElement(); pItem != nullptr;
             pItem = pItem->NextSiblingElement())
        {
            if (pItem->ValueStr() == "attribute")
            {
                attributes.insert(readText(pItem, "name"));
            }
            else if (pItem->ValueStr() == "receiveEvent")
            {
                events.insert(readText(pItem, "name"));
            }
        }
        return true;
    }
    return false;
}
