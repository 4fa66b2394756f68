#include "basekit/uniqueids.h"

#include <ostream>

std::string UniqueModuleID::toString() const
{
    return std::to_string(getWorkplaceID()) + "." + std::to_string(getGroupID()) + "." +
           std::to_string(getModuleID());
}

std::string UniqueWidgetID::toString() const
{
    return std::to_string(getWorkplaceID()) + "." + std::to_string(getGroupID()) + "." +
           std::to_string(getModuleID()) + "." + std::to_string(getWidgetID());
}

std::ostream& operator<<(std::ostream& os, UniqueModuleID const& id)
{
    return os << id.toString();
}

std::ostream& operator<<(std::ostream& os, UniqueWidgetID const& id)
{
    return os << id.toString();
}
