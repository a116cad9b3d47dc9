#include "platform/win32.h"

// What SCARD_PCI_T0 and SCARD_PCI_T1 point to: the program's own, as the PC/SC calls are.
extern "C" {
const SCARD_IO_REQUEST g_rgSCardT0Pci{SCARD_PROTOCOL_T0, sizeof(SCARD_IO_REQUEST)};
const SCARD_IO_REQUEST g_rgSCardT1Pci{SCARD_PROTOCOL_T1, sizeof(SCARD_IO_REQUEST)};
}
