#include "CameraSim/Faults/FaultTable.h"

#include <stdexcept>

namespace
{

bool WaitsForAuthentication(const Fault& fault)
{
    return fault.afterAuthentication || fault.kind == FaultKind::Body;
}

} // namespace

void CFaultTable::Add(Fault fault)
{
    FaultText::Validate(fault);
    if (m_faults.size() >= kMaxFaults)
        throw std::invalid_argument("there are already " + std::to_string(kMaxFaults) + " faults; remove some first");
    m_faults.push_back(std::move(fault));
}

void CFaultTable::Clear() noexcept
{
    m_faults.clear();
}

std::vector<Fault> CFaultTable::Take(std::string_view target, bool authenticated)
{
    if (target.starts_with('/'))
        target.remove_prefix(1);
    std::vector<Fault> hit;
    std::vector<Fault> kept;
    for (Fault& fault : m_faults)
    {
        bool used = false;
        if (WaitsForAuthentication(fault) == authenticated && target.starts_with(fault.path))
        {
            if (fault.skip > 0)
                --fault.skip;
            else
            {
                hit.push_back(fault);
                used = fault.count == 1;
                fault.count -= fault.count > 1 ? 1 : 0;
            }
        }
        if (!used)
            kept.push_back(std::move(fault));
    }
    m_faults = std::move(kept);
    return hit;
}
