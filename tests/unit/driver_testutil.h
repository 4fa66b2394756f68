#ifndef DRIVER_TESTUTIL_H
#define DRIVER_TESTUTIL_H

// Helpers of the driver tests: a scratch directory with files, and the demo-like type files.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace drivertest
{
// A fresh directory below /tmp, removed with its files at the end.
class ScratchDir
{
public:
    ScratchDir()
    {
        char name[] = "/tmp/driver_test_XXXXXX";
        char* pName = mkdtemp(name);
        m_path = pName != nullptr ? pName : "";
    }
    ~ScratchDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    // Writes text to the file name below the directory (subdirectories must exist) and returns its path.
    std::string write(std::string const& name, std::string const& text) const
    {
        std::string const path = m_path + "/" + name;
        std::ofstream(path) << text;
        return path;
    }
    std::string const& path() const { return m_path; }

private:
    std::string m_path;
};

inline char const* widgetTypesText()
{
    return "<?xml version=\"1.0\"?>\n"
           "<widgetTypes>\n"
           "  <widgetType name=\"Key\">\n"
           "    <attribute name=\"LAMP\" type=\"bool\" default=\"true\"/>\n"
           "    <attribute name=\"COLOR\" type=\"numeric\" default=\"-7\"/>\n"
           "    <attribute name=\"LABEL\" type=\"text\" default=\"CAM 1\"/>\n"
           "    <receiveEvent name=\"FLASH\" type=\"numeric\"/>\n"
           "  </widgetType>\n"
           "  <!-- a comment between types is fine -->\n"
           "  <widgetType name=\"Fader\">\n"
           "    <attribute name=\"POSITION\" type=\"numeric\"/>\n"
           "    <attribute name=\"MOTOR\" type=\"bool\"/>\n"
           "    <attribute name=\"NAME\" type=\"text\"/>\n"
           "  </widgetType>\n"
           "</widgetTypes>\n";
}

inline char const* moduleTypesText()
{
    return "<?xml version=\"1.0\"?>\n"
           "<moduleTypes>\n"
           "  <moduleType name=\"Keys\">\n"
           "    <widget number=\"1\" type=\"Key\" name=\"A\"/>\n"
           "    <widget number=\"2\" type=\"Key\"/>\n"
           "  </moduleType>\n"
           "  <moduleType name=\"Mixer\">\n"
           "    <widget number=\"3\" type=\"Fader\"/>\n"
           "    <widget number=\"10\" type=\"Key\"/>\n"
           "  </moduleType>\n"
           "</moduleTypes>\n";
}
} // namespace drivertest

#endif
