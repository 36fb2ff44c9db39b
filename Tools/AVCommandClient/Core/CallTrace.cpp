#include "Core/CallTrace.h"

#include <iomanip>
#include <sstream>

void CCallTrace::Write(std::string_view name, HResult hr, double durationMs) const
{
    std::ostringstream line;
    line << name << " -> " << HResults::Describe(hr) << ", " << std::fixed << std::setprecision(1) << durationMs
         << " ms\n";
    *m_sink << line.str() << std::flush;
}
