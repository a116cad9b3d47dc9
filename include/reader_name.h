#pragma once

namespace ksigil {
// The reader that the programs work on, whatever their argument says.
inline constexpr char readerName[] = "VDW ifdh 0";
}  // namespace ksigil
