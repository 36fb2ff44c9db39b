#pragma once

#include "CameraSim/H264/BitWriter.h"

/// Context-adaptive variable-length codes (ITU-T H.264, 9.2) for the only blocks that the encoder has: those whose
/// first coefficient alone may differ from 0, in the context of neighbours without coded coefficients.
namespace Cavlc
{

/// The 4x4 luma DC levels of an Intra16x16 macroblock.
void WriteLumaDc(CBitWriter& bits, int level);
/// The 2x2 DC levels of one chroma component.
void WriteChromaDc(CBitWriter& bits, int level);

} // namespace Cavlc
