#ifndef PDLCHECK_ATTRIBUTECHECK_H
#define PDLCHECK_ATTRIBUTECHECK_H

// Compares what the code of a module's widgets and sequences does to controls with what the controls
// are: `set` and `connect` need an attribute of the control's widget type, `trigger` one of its
// receivable events, and `widget[n]` a control the module has. Only what is known at load time is
// looked at: the code's own control, and `widget[n]` with a constant number. Functions are left out,
// since their control is their caller's.

#include "configtree.h"
#include "diagnostics.h"

#include <map>
#include <string>
#include <vector>

class PDLModule;

// widgets: the module type's controls by number; widgetSource names where they came from.
void checkAttributes(PDLModule const& module, ConfigTree const& config, std::string const& moduleType,
                     std::map<unsigned int, WidgetInfo> const& widgets, std::string const& widgetSource,
                     std::vector<Diagnostic>& diagnostics);

#endif
