#include "TypeLibWriter.h"

#include <stdexcept>

namespace TypeLibWriter
{
void Write(const InterfaceModel::Description&, const std::filesystem::path&)
{
    throw std::runtime_error("not written yet");
}
} // namespace TypeLibWriter
