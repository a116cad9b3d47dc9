#include "apdulib/apdu_info.h"

ApduGetInfo::ApduGetInfo() : Apdu(0xDA, sizeof(Data), sizeof(Reply)) {
    data()->unused = 0;
}

ApduGetWord::ApduGetWord() : Apdu(0xDE, sizeof(Data), sizeof(Reply)) {
    data()->unused = 0;
}
