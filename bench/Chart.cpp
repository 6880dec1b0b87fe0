#include "Report.h"
std::string Chart(const Report&)
{
    return "";
}
