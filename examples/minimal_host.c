/* A host of the Orvel SQL gateway in plain C11; docs/writing-a-host.md walks through it.
 *
 *     cc minimal_host.c $(pkg-config --cflags --libs orvelgw) -o minimal_host && ./minimal_host */
#include <dlfcn.h>
#include <locale.h>
#include <orvelgw.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The entries that this host calls, by their signatures. */
typedef int32_t (*entry_P)(int32_t*);
typedef int32_t (*entry_bP)(const zarray*, int32_t*);
typedef int32_t (*entry_bB)(const zarray*, zarray*);
typedef int32_t (*entry_bbB)(const zarray*, const zarray*, zarray*);
typedef int32_t (*entry_biB)(const zarray*, int32_t, zarray*);
typedef int32_t (*entry_bjP)(const zarray*, ORVEL_EXSTR*, int32_t*);
typedef int32_t (*entry_cB)(char*, zarray*);

/* Outputs with their room: a handle, and a list with the zeros that end it. */
typedef union Handle {
    zarray counted;
    unsigned char room[sizeof(zarray) + ORVEL_ROOM_FOR_HANDLE];
} Handle;
static union {
    zarray counted;
    unsigned char room[sizeof(zarray) + ORVEL_ROOM_FOR_ROWS + 7];
} list;
static const ORVEL_ZFE* table;

/* The five slots. The first three get the trace records, which come while the log option is on. */
static int32_t push_string(int32_t length, const char* text)
{
    return fprintf(stderr, " %.*s", (int)length, text);
}
static int32_t routine_ref(int32_t* call, int32_t label_length, const char* label,
                           int32_t routine_length, const char* routine)
{
    *call = 1;
    return fprintf(stderr, "%.*s%.*s:", (int)label_length, label, (int)routine_length, routine);
}
static int32_t call_routine(int32_t call, int32_t argument_count)
{
    return fprintf(stderr, " (call %d, %d strings)\n", (int)call, (int)argument_count);
}
static void release_long_string(ORVEL_EXSTR* string)
{
    string->text = NULL; /* a literal: there is nothing to free */
}
static char* alloc_long_string(void* scratch, uint16_t length)
{
    return scratch != NULL ? malloc(length) : NULL;
}
static const orvel_function slots[ORVEL_HOST_SLOTS] = {
    [ORVEL_SLOT_PUSH_STRING] = (orvel_function)push_string,
    [ORVEL_SLOT_ROUTINE_REF] = (orvel_function)routine_ref,
    [ORVEL_SLOT_CALL_ROUTINE] = (orvel_function)call_routine,
    [ORVEL_SLOT_RELEASE_LONG_STRING] = (orvel_function)release_long_string,
    [ORVEL_SLOT_ALLOC_LONG_STRING] = (orvel_function)alloc_long_string,
};

static orvel_function entry(const char* name, const char* signature)
{
    for (const ORVEL_ZFE* row = table; row->name != NULL; ++row) {
        if (strcmp(row->name, name) == 0 && strcmp(row->signature, signature) == 0) {
            return row->function;
        }
    }
    fprintf(stderr, "no entry %s of signature %s\n", name, signature);
    exit(EXIT_FAILURE);
}

/* Steps over an element and returns how many bytes lie before *at now; -1 at the end of the list.
 */
static int next(const unsigned char** at)
{
    uint16_t word;
    uint32_t long_word;
    memcpy(&word, *at + 1, sizeof word);
    memcpy(&long_word, *at + 3, sizeof long_word);
    const uint32_t size = **at != 0 ? **at - 1U : word != 0 ? word : long_word;
    *at += (**at != 0 ? 1 : word != 0 ? 3 : 7) + size;
    return (int)size - 1;
}

/* Prints the strings of a list. NULL has no bytes, and an empty text one zero. */
static void print_list(const unsigned char* at, const unsigned char* end)
{
    for (int length; at < end && (length = next(&at)) >= 0;) {
        printf("  %.*s", length > 0 ? length : 4, length > 0 ? (const char*)at - length : "NULL");
    }
    printf("\n");
}

/* Prints the diagnostic records of the call before. */
static void print_errors(const zarray* connection, const zarray* statement)
{
    memset(&list, 0, sizeof list);
    ((entry_bbB)entry("GetSQLErrors", "bbB"))(connection, statement, &list.counted);
    print_list(list.counted.bytes, list.room + sizeof list.room);
}

static void run(const zarray* connection, char* sql)
{
    int32_t code = ORVEL_ERROR;
    Handle statement = {.room = {0}};
    ORVEL_EXSTR text = {(uint32_t)strlen(sql), sql};
    memset(&list, 0, sizeof list);
    ((entry_bB)entry("AllocStatement", "bB"))(connection, &statement.counted);
    ((entry_bjP)entry("Prepare", "bjP"))(&statement.counted, &text, &code);
    if (code >= 0) {
        ((entry_bP)entry("Execute", "bP"))(&statement.counted, &code);
    }
    if (code >= 0) {
        ((entry_biB)entry("FetchRows", "biB"))(&statement.counted, 1000, &list.counted);
        ((entry_P)entry("WasError", "P"))(&code);
    }
    const unsigned char* at = list.counted.bytes;
    for (int length; code >= 0 && (length = next(&at)) >= 0;) {
        print_list(at - length, at); /* a row is a list in the list */
    }
    if (code < 0) {
        print_errors(connection, &statement.counted);
    }
    ((entry_bP)entry("DropStatement", "bP"))(&statement.counted, &code);
}

int main(int count, char** words)
{
    int32_t code;
    Handle connection = {.room = {0}};
    char source[] = "DRIVER={SQLite3};Database=:memory:"; /* writable: convention 4 */
    setlocale(LC_CTYPE, "C.UTF-8");
    void* library = dlopen(count > 1 ? words[1] : ORVEL_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    void* get_table = library != NULL ? dlsym(library, "GetZFTable") : NULL;
    if (get_table == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return EXIT_FAILURE;
    }
    table = ((orvel_get_table)(uintptr_t)get_table)(NULL, slots);
    ((entry_cB)entry("DSNConnect", "cB"))(source, &connection.counted);
    if (connection.counted.length == 0) {
        print_errors(&connection.counted, &connection.counted);
        return EXIT_FAILURE;
    }
    run(&connection.counted, "SELECT 'Zürich', 443037 UNION ALL SELECT 'Kraków', NULL");
    run(&connection.counted, "SELECT * FROM nowhere");
    ((entry_bP)entry("Disconnect", "bP"))(&connection.counted, &code);
    dlclose(library);
}
