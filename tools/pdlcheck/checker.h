#ifndef PDLCHECK_CHECKER_H
#define PDLCHECK_CHECKER_H

// Checks PDL files without a panel: each file is loaded as a module through the core's own module
// manager (the same scanner, grammar, context checks and binding as at a panel's start), with no
// driver library, no hardware and nothing written below the working directory. What the core reports
// while it loads is captured and read back as diagnostics.
//
// Given a configuration tree, the checker also reads the delegation types (so that extern variables
// can be told apart from unknown device types) and the module's controls (so that widget numbers the
// module does not have are pointed out). Those findings are warnings: the panel would load the module.

#include "configtree.h"
#include "diagnostics.h"

#include <memory>
#include <string>
#include <vector>

class CaptureBuffer;
class CheckerFunctionID;
class PDLModule;

struct FileResult
{
    enum EStatus
    {
        eClean,      // loaded without error
        eErrors,     // the load failed
        eUnreadable  // neither the file nor its ".enc" twin can be opened
    };
    std::string m_file;  // as given
    EStatus m_status = eClean;
    std::vector<Diagnostic> m_diagnostics;
};

class Checker
{
public:
    Checker();
    ~Checker();

    // Uses the configuration tree in dir (absolute or relative to the working directory). False,
    // with the reasons in diagnostics, when the tree's delegation type file cannot be read.
    bool setConfig(std::string const& dir, std::vector<Diagnostic>& diagnostics);
    // The module position the files are loaded at; 0.0.0 unless set.
    void setModule(int workplace, int group, int module);

    FileResult check(std::string const& file);

private:
    Checker(Checker const&) = delete;
    Checker& operator=(Checker const&) = delete;

    void startCapture();
    std::vector<CapturedLine> stopCapture();
    // The module type the file belongs to: from its place below the config's PDL directory, else from
    // the module position in the hardware inventory. Empty when neither tells.
    std::string findModuleType(std::string const& relativeToConfig, std::string& version) const;
    // Widget and sequence numbers the module type has no control for.
    void checkWidgets(PDLModule const& module, std::string const& moduleType, std::string const& version,
                      std::vector<Diagnostic>& diagnostics) const;
    // Extern variables whose delegation type the configuration does not define.
    void checkExternVariables(PDLModule const& module, std::string const& absolutePath,
                              std::vector<Diagnostic>& diagnostics) const;
    // How a file is named in diagnostics: the name given for the checked file, paths below the
    // working directory relative to it, others as they are.
    std::string displayName(std::string const& reported, std::string const& absolutePath,
                            std::string const& given) const;

    std::unique_ptr<CaptureBuffer> m_pCapture;
    std::unique_ptr<std::ostream> m_pCaptureStream;
    std::streambuf* m_pSavedCerr;
    std::unique_ptr<CheckerFunctionID> m_pFunctionID;
    std::unique_ptr<ConfigTree> m_pConfig;
    bool m_hasDelegationTypes;
    bool m_hasModule;
    int m_workplace;
    int m_group;
    int m_module;
    std::string m_workingDirectory;
    std::string m_sramDirectory;
};

#endif
