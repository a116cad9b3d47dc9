#ifndef KSIGIL_H
#define KSIGIL_H

/*
 * libksigil: work on a security token of the kSigil family, in C99 and C++.
 *
 * Results. Unless it says otherwise, a function gives a result number: 0 is success, 0xE006xxxx a
 * command that the token refused with status word xxxx, all else a PC/SC or system error.
 * `ksigil_result_text` has words for a number, `ksigil_reason` the reason of this thread's last
 * failure. These numbers any function may give, and its own lines don't repeat them:
 *   KSIGIL_INVALID_HANDLE     the token handle is null or was closed, or a fork has made this
 *                             process
 *   KSIGIL_INVALID_ARGUMENT   a null pointer, a length beyond the stated range, a path that is
 *                             none; nothing is sent
 *   KSIGIL_NO_HOST_MEMORY     the host's memory does not suffice
 *   KSIGIL_CANCELLED          the progress callback ended the operation between two frames
 *   KSIGIL_TOO_MANY_THREADS   64 threads have connections to the reader already
 *   KSIGIL_NO_LOGIN           the token wants the password first
 *   KSIGIL_NOT_FOUND          there is nothing at the path
 * and the numbers of a lost connection, see below, and those of a reader that cannot be reached.
 * An operation stops at its first failure. Unless it says otherwise, its output arguments are then
 * as they were, and nothing on the token has changed.
 *
 * Paths. 4 hexadecimal digits of either case for each level, from the root, nothing between:
 * "3f00" is the root, "3f00a1a1" a file in it. At most 255 levels.
 *
 * Locks. The token keeps one selection and one login, which all its users share. Each operation
 * takes the card lock for its own time; the caller holds one across operations that belong
 * together. A begin blocks while another user of the token has the lock.
 *
 * Threads. Any thread may use a handle at any time. Each thread that does has a connection of its
 * own to the reader, made at its first operation: at most 64 for a reader, which a thread gives
 * back with `ksigil_thread_done`. A thread that ends without it leaves its connection, and a lock
 * that it holds, to a later thread which the system gives the same number. Two handles of one
 * reader share a thread's connection, and with it the depth of its lock.
 *
 * Forks. A child that was forked from a process which has used the library has no use of it: its
 * functions give KSIGIL_INVALID_HANDLE. It uses the library again behind an exec.
 *
 * Lost connections. An operation that meets 6, 0x80100017, 0x80100068 or 0x80100069 (the resource
 * manager, the reader or the token went away, or the token was reset) fails with that number, and
 * sends nothing again. The thread's connection and all its locks are gone: their ends then give 0.
 * The thread's next operation connects anew. Whether the frame that was lost took effect is not
 * known.
 *
 * The host. The library writes nothing to standard output or error, throws nothing, and changes no
 * signal's disposition and no limit of its process. The environment variable KSIGIL_PCSC names the
 * resource manager, once a process.
 */

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define KSIGIL_OK UINT32_C(0)
#define KSIGIL_LOST_MANAGER UINT32_C(6)
#define KSIGIL_NO_SPACE UINT32_C(8)
#define KSIGIL_INVALID_PARAMETER UINT32_C(0x57)
#define KSIGIL_TOO_MANY_THREADS UINT32_C(0x8007000E)
#define KSIGIL_INVALID_ARGUMENT UINT32_C(0x80070057)
#define KSIGIL_CANCELLED UINT32_C(0x80100002)
#define KSIGIL_INVALID_HANDLE UINT32_C(0x80100003)
#define KSIGIL_NO_HOST_MEMORY UINT32_C(0x80100006)
#define KSIGIL_BUFFER_TOO_SMALL UINT32_C(0x80100008)
#define KSIGIL_UNKNOWN_READER UINT32_C(0x80100009)
#define KSIGIL_NO_TOKEN UINT32_C(0x8010000C)
#define KSIGIL_COMMUNICATION UINT32_C(0x80100013)
#define KSIGIL_UNEXPECTED UINT32_C(0x8010001F)
#define KSIGIL_READER_GONE UINT32_C(0x80100017)
#define KSIGIL_TOKEN_RESET UINT32_C(0x80100068)
#define KSIGIL_TOKEN_REMOVED UINT32_C(0x80100069)
#define KSIGIL_NOT_EMPTY UINT32_C(0xE0066406)
#define KSIGIL_NOT_FOUND UINT32_C(0xE0066407)
#define KSIGIL_NO_TOKEN_MEMORY UINT32_C(0xE0066409)
#define KSIGIL_NO_LOGIN UINT32_C(0xE0066982)
#define KSIGIL_NO_PROTECTOR UINT32_C(0xE0130001)

enum {
    KSIGIL_MAX_FILE_SIZE = 65535,   /* bytes */
    KSIGIL_MAX_CHILDREN = 1024,     /* of one directory that can be listed */
    KSIGIL_MAX_ENTRIES = 7278,      /* application entries */
    KSIGIL_KEY_LENGTH = 16,         /* bytes of a DESX key's value */
    KSIGIL_ENTRY_LENGTH = 4,        /* bytes of an application entry's content */
    KSIGIL_READER_NAME_LENGTH = 128 /* characters of a reader's name, the ending zero too */
};

/* An open token. It is compared and passed, and never looked into. */
typedef struct ksigil_token ksigil_token;

/* The library's own. */

/* The library's version, "1.0.0". Static, never null. */
const char* ksigil_version(void);

/* A result number in words, without the number; never null or empty. Static. */
const char* ksigil_result_text(uint32_t result);

/* Why this thread's last call that failed did so, in words: "there is no token in the reader; put
 * it in". Never null; empty if none has failed. It stands until the thread's next call of another
 * function of the library. */
const char* ksigil_reason(void);

/* Told of the progress of one operation: before each of its frames but the first, on the thread
 * that runs it, with the lock held. `done` of `total` are bytes of reading, writing and
 * encryption; of other operations `done` is the number of frames so far, and `total` is 0. Anything
 * but 0 ends the operation there with KSIGIL_CANCELLED; what was sent so far stays done. It must
 * not throw, nor call the library. */
typedef int (*ksigil_progress)(void* context, uint64_t done, uint64_t total);

/* Sets the calling thread's progress callback for all its handles; null for none, as at first. */
void ksigil_set_progress(ksigil_progress progress, void* context);

/* Told that a wait for another process has lasted 3 s, once a wait, on the thread that waits.
 * `text` is for an operator, "waiting for process 7, which ...". It must not throw, nor call the
 * library. */
typedef void (*ksigil_waiting)(void* context, const char* text);

/* Sets the process's callback for long waits; null for none, as at first. No operation may be in
 * flight in any thread. */
void ksigil_set_waiting(ksigil_waiting waiting, void* context);

/* Readers and handles. */

typedef struct ksigil_reader {
    char name[KSIGIL_READER_NAME_LENGTH];
    int has_token; /* 1 or 0 */
} ksigil_reader;

/* Puts the readers that can be opened into `readers`, which has room for `capacity`, and their
 * number into `count`. KSIGIL_BUFFER_TOO_SMALL: there are more; `count` tells how many. `readers`
 * may be null where `capacity` is 0. A machine without readers is a success. */
uint32_t ksigil_readers(ksigil_reader* readers, size_t capacity, size_t* count);

/* Opens the reader of that name and connects the calling thread; `token` becomes the handle, or
 * null on failure. `reader` null is the reader that QVSh works on. A name without the interface and
 * slot that PC/SC puts behind it is found too. Takes no lock. */
uint32_t ksigil_open(const char* reader, ksigil_token** token);

/* Closes the handle; null is let through. The last handle of a reader closes the connections of all
 * threads to it and ends their locks. An operation of another thread in flight ends as it would
 * have. What the token holds, its login too, stays. */
void ksigil_close(ksigil_token* token);

/* Closes the calling thread's connection to the token's reader, its locks with it. 0 also where it
 * has none. */
uint32_t ksigil_thread_done(ksigil_token* token);

/* Gives the calling thread the token to itself; blocks while another user has it. Locks nest. A
 * lock that failed must not be matched by an unlock. */
uint32_t ksigil_lock(ksigil_token* token);

/* Takes one lock of the calling thread back. 0 also where it holds none. After a failure the thread
 * holds none, and has no connection. */
uint32_t ksigil_unlock(ksigil_token* token);

/* The password. Any bytes, sent unchanged; `length` 0 to 65535, `password` may be null where it is
 * 0. */

/* Logs in. The login is the token's: it lasts beyond the handle and the process, until a logout, a
 * reset or the loss of power. */
uint32_t ksigil_login(ksigil_token* token, const uint8_t* password, size_t length);

/* Ends the login, whoever made it; 0 also where there is none. */
uint32_t ksigil_logout(ksigil_token* token);

/* Changes the password; needs the login. */
uint32_t ksigil_change_password(ksigil_token* token, const uint8_t* password, size_t length);

/* The token and its objects. */

typedef struct ksigil_token_info {
    uint8_t serial[8];
    uint32_t bytes_used;  /* sizes of all objects */
    uint32_t bytes_total; /* that they may have */
    uint16_t packages;    /* bit n: `ksigil_package_name(n)` */
    uint16_t version;     /* 0x0100 is 1.0 */
    uint8_t colour;       /* of its case: `ksigil_colour_name` */
} ksigil_token_info;

/* Tells about the token. */
uint32_t ksigil_get_token_info(ksigil_token* token, ksigil_token_info* info);

/* Names; "Undefined" for a number without one. Static, never null. */
const char* ksigil_colour_name(uint8_t colour);
const char* ksigil_package_name(unsigned int package);

enum { KSIGIL_FILE = 1, KSIGIL_DIRECTORY = 2, KSIGIL_KEY = 3 };
enum { KSIGIL_PUBLIC = 0, KSIGIL_PRIVATE = 1, KSIGIL_ONE_FACTOR = 2, KSIGIL_TWO_FACTOR = 3 };

typedef struct ksigil_object {
    uint16_t id;       /* the last level of its path */
    uint8_t type;      /* KSIGIL_FILE, KSIGIL_DIRECTORY or KSIGIL_KEY */
    uint8_t attribute; /* KSIGIL_PUBLIC or KSIGIL_PRIVATE; of a key the two factors */
    uint32_t size;     /* bytes */
} ksigil_object;

/* Describes the object at `path`. */
uint32_t ksigil_get_object(ksigil_token* token, const char* path, ksigil_object* object);

/* Puts the directory's children, in the token's order, into `children`, which has room for
 * `capacity`, and their number into `count`. KSIGIL_BUFFER_TOO_SMALL: there are more; `count` tells
 * how many. KSIGIL_MAX_CHILDREN always suffices. KSIGIL_COMMUNICATION: there are more than that, or
 * it is at the 255th level and has any. `children` may be null where `capacity` is 0. Costs a frame
 * a child and two more. */
uint32_t ksigil_list(ksigil_token* token, const char* path, ksigil_object* children,
                     size_t capacity, size_t* count);

/* Make an object in a directory that exists: a file of `size` zero bytes (0 to
 * KSIGIL_MAX_FILE_SIZE), a directory, a key without a value. `is_private` and `is_two_factor` are 0
 * or 1. */
uint32_t ksigil_make_file(ksigil_token* token, const char* path, size_t size, int is_private);
uint32_t ksigil_make_directory(ksigil_token* token, const char* path, int is_private);
uint32_t ksigil_make_key(ksigil_token* token, const char* path, int is_two_factor);

/* Removes one object; KSIGIL_NOT_EMPTY for a directory that has children. */
uint32_t ksigil_remove(ksigil_token* token, const char* path);

/* Removes the object with all that is under it, children first. The root itself stays. What was
 * removed before a failure stays removed. */
uint32_t ksigil_remove_tree(ksigil_token* token, const char* path);

/* Files. */

/* Reads `length` bytes from byte `offset` into `bytes`; both together at most
 * KSIGIL_MAX_FILE_SIZE. The token refuses a range beyond the file's end. After a failure `bytes`
 * has what arrived before, and zeros behind it. */
uint32_t ksigil_read(ksigil_token* token, const char* path, size_t offset, uint8_t* bytes,
                     size_t length);

/* Reads the whole file into `bytes`, which has room for `capacity` bytes; `length` becomes its
 * size. KSIGIL_BUFFER_TOO_SMALL: the file is longer; `length` tells its size, and nothing is read.
 * KSIGIL_MAX_FILE_SIZE always suffices. `bytes` as with `ksigil_read`. */
uint32_t ksigil_read_file(ksigil_token* token, const char* path, uint8_t* bytes, size_t capacity,
                          size_t* length);

/* Writes `length` bytes at byte `offset` of a file that exists; both together at most
 * KSIGIL_MAX_FILE_SIZE. They are written in ascending order, 986 in a frame; what was written
 * before a failure stays. */
uint32_t ksigil_write(ksigil_token* token, const char* path, size_t offset, const uint8_t* bytes,
                      size_t length);

/* Makes `bytes` the whole content of a file that exists. KSIGIL_INVALID_ARGUMENT: its size is not
 * `length`; nothing is written. A token's file keeps the size with which it was made. */
uint32_t ksigil_write_file(ksigil_token* token, const char* path, const uint8_t* bytes,
                           size_t length);

/* Keys and ciphers. */

/* Gives a key its value. KSIGIL_INVALID_PARAMETER: `length` is not KSIGIL_KEY_LENGTH. A value is
 * never read back. */
uint32_t ksigil_write_key(ksigil_token* token, const char* path, const uint8_t* value,
                          size_t length);

/* Run `length` bytes through the key at `path` into `output`, which has room for `capacity` bytes;
 * `output_length` becomes the length of the result. `input` and `output` may be the same.
 * Encryption adds 1 to 8 bytes of padding; decryption takes it away. At most
 * KSIGIL_MAX_CIPHER_LENGTH bytes. KSIGIL_BUFFER_TOO_SMALL: nothing is sent, and `output_length`
 * tells what suffices: for encryption the exact length, for decryption `length`.
 * KSIGIL_INVALID_ARGUMENT: decryption of nothing or of a length that is no multiple of 8, or
 * padding that is none. After a failure `output` is as it was. */
#define KSIGIL_MAX_CIPHER_LENGTH UINT32_C(0x10000000)
uint32_t ksigil_encrypt(ksigil_token* token, const char* path, const uint8_t* input, size_t length,
                        uint8_t* output, size_t capacity, size_t* output_length);
uint32_t ksigil_decrypt(ksigil_token* token, const char* path, const uint8_t* input, size_t length,
                        uint8_t* output, size_t capacity, size_t* output_length);

/* The same under the protector's key. KSIGIL_NO_PROTECTOR: the token was not prepared. */
uint32_t ksigil_protector_encrypt(ksigil_token* token, const uint8_t* input, size_t length,
                                  uint8_t* output, size_t capacity, size_t* output_length);
uint32_t ksigil_protector_decrypt(ksigil_token* token, const uint8_t* input, size_t length,
                                  uint8_t* output, size_t capacity, size_t* output_length);

typedef struct ksigil_protector {
    int has_entry;     /* the application entry that names the directory */
    int has_directory; /* 1 or 0, as the others; what comes behind a missing part is 0 */
    int has_key;
    char directory[16]; /* paths; empty without the entry */
    char key[16];
} ksigil_protector;

/* Tells which parts of the protector the token has. Changes nothing. */
uint32_t ksigil_get_protector(ksigil_token* token, ksigil_protector* protector);

/* Makes what is missing of the protector: entry, directory, key with a random value; needs the
 * login where the token says so. What is there stays as it is. `is_weak`, if not null, becomes 1
 * where the key was made without a random source of the system and keeps nothing secret, else 0.
 * KSIGIL_NO_SPACE: the table of application entries is full, or no directory is free.
 * KSIGIL_NO_TOKEN_MEMORY: the token has no room. A failure leaves what was made before it; a key
 * that is then without its value has to be removed first. */
uint32_t ksigil_prepare_protector(ksigil_token* token, int* is_weak);

/* Application entries: 4 bytes for a 32-bit application id, in the file "3f00a1a1". A change reads
 * the file and writes it anew: after a failure in between the entries are lost. */

typedef struct ksigil_entry {
    uint32_t id;
    uint8_t content[KSIGIL_ENTRY_LENGTH];
} ksigil_entry;

/* Puts all entries into `entries`, which has room for `capacity`, and their number into `count`.
 * KSIGIL_BUFFER_TOO_SMALL: there are more; `count` tells how many. KSIGIL_MAX_ENTRIES always
 * suffices. A token without the file has none. */
uint32_t ksigil_list_entries(ksigil_token* token, ksigil_entry* entries, size_t capacity,
                             size_t* count);

/* Reads the entry's content. KSIGIL_INVALID_PARAMETER: there is no entry with that id.
 * KSIGIL_NOT_FOUND: there is no file. */
uint32_t ksigil_get_entry(ksigil_token* token, uint32_t id, uint8_t content[KSIGIL_ENTRY_LENGTH]);

/* Adds the entry or replaces its content; makes the file if there is none. KSIGIL_NO_SPACE: the
 * table is full. KSIGIL_NO_TOKEN_MEMORY: the token has no room for a longer one. Either way it
 * stays as it is. */
uint32_t ksigil_set_entry(ksigil_token* token, uint32_t id,
                          const uint8_t content[KSIGIL_ENTRY_LENGTH]);

/* Takes the entry out. Results of its own are those of `ksigil_get_entry`. */
uint32_t ksigil_remove_entry(ksigil_token* token, uint32_t id);

/* Finds the first id from `first` on (0x1000 to 0xffef) that no object in the root has, and puts it
 * into `id`. Makes and reserves nothing: it is free as long as the caller holds the lock.
 * KSIGIL_NO_SPACE: none is. */
uint32_t ksigil_find_directory(ksigil_token* token, uint16_t first, uint16_t* id);

#ifdef __cplusplus
}
#endif

#endif
