#pragma once

#include <string>
#include <utility>

#define DENIED "Security privilege not high enough. 0xe0066982"
#define INVALID "Invalid Parameter.0x80070057"
#define MISSING "Bad path (not found). 0xe0066407"

// What a process is given, and what it writes behind the banner. All work on one image.
inline const std::pair<std::string, std::string> transcripts[] = {
    {"", ">/"},
    {"LOGIN Exit exit h", ">Syntax error./>Syntax error./>"},
    {"h\nlogin h logout h changepw h ld h md h mf h mk h i h r h wk h w h rm h pr h dx h exit h",
     ">Usage: login <pwd>: login to the Veldane AID/>Usage: logout: loout from the Veldane AID/"
     ">Usage: changepw <newpwd>: change the Veldane AID password/>Usage: ld <path>: list "
     "directories under path/>Usage: md <path> <PRV | PUB> : make directory public or private/"
     ">Usage: mf <path> <size> <PRV | PUB>: make a file sized size public or private/>Usage: mk "
     "<path> <1F | 2F>: make a DESX key 1 or 2 factor/>Usage: i <path> : obtain info about a "
     "path/>Usage: r <path> <ofs> <len> : read from a binary file/>Usage: wk <path> <data> : "
     "write data to a key (length = 16)/>Usage: w <path> <ofs> <data> : write data to a binary "
     "file/>Usage: rm <path> remove the sub-tree under path recusively/>Usage: pr <E> <data>: "
     "encrypt using protector key OR/       pr <D> : decrypt last encrypted data/>Usage: dx <E> "
     "<path> <data>: encrypt using DESX key OR/       dx <path> <D> : decrypt last encrypted "
     "data using DESX key./>No command specific help found./>No command specific help found./>/"},
    {"login 1234 logout logout changepw x login",
     ">OK./>OK./>OK./>FAIL: " DENIED "/>FAIL: " DENIED "/>/"},
    {"pr E abc pr D pr X abc",
     ">Failed: 0xe0130001/>Failed: 0xe0130001/>Syntax error./>Syntax error./>/"},
    {"login 1234 changepw new exit", ">OK./>OK./>"},
    {"login 1234 login\n\nnew\nexit", ">FAIL: " DENIED "/>OK./>"},
    {"md 3f001000 PUB mf 3f002000 6 PUB mk 3f000001\n1F md 3f001001 prv mf 3f002001 3 Pub",
     ">OK./>OK./>OK./>Syntax error/>Syntax error/>/"},
    {"mk 3f000002 1f mf 3f002001 a PUB mf 3f002001 4294967296 PUB mf 3f002001 -1 PUB",
     ">Syntax error/>Syntax error/>Syntax error./>Syntax error./>Syntax error/>Syntax error."
     "/>Cannot call fs.createFile(): " INVALID "/>/"},
    {"md 3f001001 PRV mf 3f002001 3 PRV mk 3f000002 2F",
     ">Cannot call fs.createDirectory(): " DENIED "/>Cannot call fs.createFile(): " DENIED
     "/>Cannot call fs.createKey(): " DENIED "/>/"},
    {"login new md 3f001001 PRV mf 3f002001 3 PRV mk 3f000002 2F w 3f002001 0 abc",
     ">OK./>OK./>OK./>OK./>OK./>/"},
    {"r 3f002001 0 3 login new r 3f002001 0 3",
     ">Cannot call fs.readBinaryFile(): " DENIED "/>OK./>OK./61 62 63 />/"},
    {"w 3f002000 0 \xFFgcdef wk 3f000001 0123456789abcdef wk 3f000001 12345 w 3f002000 6 a",
     ">OK./>OK./>Cannot call fs.writeKey(): 0x57"
     "/>Cannot call fs.writeBinaryFile(): File size incorrect 0xe006640b/>/"},
    {"r 3f002000 0 2x r 3f002000 0x10 4 r 3f002000 4294967296 4 r 3f002000 0 -1 w 3f002000 z abc "
     "r 3f002000 0 4294967296",
     ">OK./ff 67 />Syntax error./>OK.//>Syntax error./>Syntax error./>OK.//>Syntax error."
     "/>Cannot call fs.readBinaryFile(): " INVALID "/>OK./>Syntax error./>Syntax error./>OK.//>/"},
    {"i 3f00 i 3f000001 i 3F002001 i 3f009999",
     ">Name     : 3f00/Directory: Yes/Size     : 0/Private  : No/>Name     : 0001/Directory: No/"
     "Size     : 24/Private  : No/>Name     : 2001/Directory: No/Size     : 3/Private  : Yes/"
     ">Cannot call fs.getFileInfo(): " MISSING "/>/"},
    {"ls 3f00 lfs 3f00 ld 3f00 ls 3f001000 ls 3f0 lfs 3f0 ld 3f0",
     ">1000/2000/0001/1001/2001/0002/>2000 6/0001 24/2001 3/0002 24/>1000/1001/>"
     ">Cannot call fs.dir(): " INVALID "/>Cannot call fs.dir(): " INVALID
     "/>Cannot call fs.listDirectories(): " INVALID "/>/"},
    {"mf 3f003000 1000 PUB w 3f003000 0 " + std::string(1000, 'a') + " r 3f003000 999 1",
     ">OK./>OK./>OK./61 />/"},
    {"pr d dx 3f000001 e\nabc dx 3f000001 d pr D pr e abc pr D dx E 3f000001 abc",
     ">Failed: " INVALID "/>OK./21 fe 30 3c 99 7c a5 6e />OK./61 62 63 />OK./61 62 63 />OK./"
     "21 fe 30 3c 99 7c a5 6e />OK./61 62 63 />Syntax error./>Syntax error./>/"},
    // Encrypting that fails leaves what was encrypted last, but for its length.
    {"mk 3f000004 1F dx 3f000001 E abc dx 3f009999 E abc dx 3f000001 D dx 3f000004 E 12345678 "
     "dx 3f000001 D rm 3f000004",
     ">OK./>OK./21 fe 30 3c 99 7c a5 6e />Failed: " MISSING "/>OK./61 62 63 />Failed: Bad file "
     "selected. 0xe0066405/>Failed: " INVALID "/>OK./>/"},
    // By another implementation of the cipher.
    {"mk 3f000003 1F wk 3f000003 \376\334\272\230vT2\20\361\342\323\304\265\246\227\210 "
     "dx 3f000003 e \351bcdefgh rm 3f000003",
     ">OK./>OK./>OK./cc 8e 59 31 54 43 10 44 5a c6 2b ea 73 32 c8 20 />OK./>/"},
    {"t md 3f00d800 PUB t t",
     ">Remove 3f00d8000001/fs.del(): " MISSING "/Create 3f00d8000001/Cannot call "
     "fs.createFile(): " MISSING "/Write to 3f00d8000001/fs.writeBinaryFile(): " MISSING "/>OK./"
     ">Remove 3f00d8000001/fs.del(): " MISSING "/Create 3f00d8000001/OK./Write to 3f00d8000001/"
     "OK./>Remove 3f00d8000001/OK./Create 3f00d8000001/OK./Write to 3f00d8000001/OK./>/"},
    {"rm 3f009999 login new rm 3f00 ls 3f00 exit",
     ">Cannot call fs.del(): " MISSING "/>OK./>OK./>>"}};
