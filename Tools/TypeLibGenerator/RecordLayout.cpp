#include "RecordLayout.h"

#include <algorithm>

namespace
{
constexpr std::uint32_t kPointerBytes = 4;
constexpr std::uint32_t kEnumerationBytes = 4;

std::uint32_t SizeOf(const InterfaceModel::TypeReference& type)
{
    if (type.pointerDepth > 0)
        return kPointerBytes;
    const InterfaceModel::BaseType* base = InterfaceModel::FindBaseType(type.name);
    return base != nullptr ? base->sizeBytes : kEnumerationBytes;
}

std::uint32_t RoundUp(std::uint32_t offset, std::uint32_t alignment)
{
    return (offset + alignment - 1) / alignment * alignment;
}
} // namespace

RecordLayout LayOutRecord(const InterfaceModel::Record& record)
{
    RecordLayout layout;
    for (const InterfaceModel::Field& field : record.fields)
    {
        const std::uint32_t sizeBytes = SizeOf(field.type);
        layout.fieldOffsets.push_back(RoundUp(layout.sizeBytes, sizeBytes));
        layout.sizeBytes = layout.fieldOffsets.back() + sizeBytes;
        layout.alignmentBytes = std::max(layout.alignmentBytes, static_cast<std::uint16_t>(sizeBytes));
    }
    layout.sizeBytes = RoundUp(layout.sizeBytes, layout.alignmentBytes);
    return layout;
}
