/* morvane: COLLADA 1.4 documents converted to X3D scenes, in memory.
 *
 * A converter takes a document (or, under --faithful, a zip archive that
 * holds one) as bytes and gives the X3D text, either whole or piece by
 * piece to a function of the caller's. It reads no file
 * but the images that a --faithful conversion names (looked for where the
 * document's location says), writes no file, opens no connection and
 * prints nothing: every refusal and every warning is a value.
 *
 * Threads: a converter is used by one thread at a time; converters on
 * different threads are independent, and nothing is shared between them.
 * The functions a caller hands over are called on the converting thread,
 * before the conversion returns. While it converts, a thread works in the
 * C locale (numbers are read and written as "1.5" whatever locale the
 * program chose) and gets its own locale back after.
 *
 * Compatibility: within one major version (MORVANE_VERSION_MAJOR, the
 * soname's number) programs built against an older minor version keep
 * working: functions, enumerators and the layout of morvane_diagnostic are
 * only ever added to. The X3D text of a classic conversion never changes;
 * that of a --faithful conversion may improve between minor versions.
 */
#ifndef MORVANE_MORVANE_H
#define MORVANE_MORVANE_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define MORVANE_VERSION_MAJOR 1
#define MORVANE_VERSION_MINOR 0
#define MORVANE_VERSION_PATCH 0

#if defined(__GNUC__)
#define MORVANE_API __attribute__((visibility("default")))
#else
#define MORVANE_API
#endif

/* The outcome of a call. */
typedef enum morvane_status {
    MORVANE_OK = 0,
    /* The document gave no output; the diagnostics say why. */
    MORVANE_REFUSED = 1,
    /* An option word that is not one of the command line's. */
    MORVANE_BAD_OPTION = 2,
    /* A null converter or a null pointer where a value is needed. */
    MORVANE_INVALID_ARGUMENT = 3,
    MORVANE_OUT_OF_MEMORY = 4
} morvane_status;

typedef enum morvane_severity {
    /* The output was written; this is something the user should know. */
    MORVANE_WARNING = 0,
    /* Why the document gave no output. */
    MORVANE_ERROR = 1
} morvane_severity;

/* One diagnostic of the last conversion. The strings belong to the
 * converter and stay valid until its next conversion or its end. */
typedef struct morvane_diagnostic {
    morvane_severity severity;
    /* A short fixed word for programs; a word, once given to a kind, never
     * changes, and new words may be added in a minor version:
     *   malformed-xml         not well-formed XML (line and column given)
     *   unsupported-encoding  a declared encoding that is not read
     *   too-deep              nodes or transforms nested too deep
     *   counts-beyond-lists   primitive counts far beyond their index lists
     *   too-many-entries      a list that would reach 2^31 entries
     *   output-too-large      an output past its size limit
     *   out-of-memory         memory ran out
     *   cannot-write          the write function (or image function) refused
     *   nothing-to-convert    a document without a mesh to write
     *   internal-error        a fault of the library
     * and, from the program's own file and URL handling, never given by the
     * library's memory conversions: cannot-open, cannot-read,
     * download-failed, output-refused. */
    const char* kind;
    /* The words the user is told, without the program's or document's name. */
    const char* message;
    /* Where in the document it applies, from 1; 0 where no place applies. */
    unsigned long line;
    unsigned long column;
} morvane_diagnostic;

typedef struct morvane_converter morvane_converter;

/* Takes a piece of the output. Returns 0 to go on; anything else abandons
 * the conversion, which then ends with MORVANE_REFUSED. */
typedef int (*morvane_write_fn)(void* user, const char* data, size_t size);
/* Takes an image made for the output (a PNG standing in for an image that
 * browsers cannot decode, or an image taken out of an archive), under the
 * relative name the output gives it. Returns 0 when it was stored. */
typedef int (*morvane_image_fn)(void* user, const char* name, const unsigned char* data, size_t size);
/* Takes one progress mark ('.', '+', '!'). */
typedef void (*morvane_progress_fn)(void* user, char mark);

/* "1.0.0": the version of the library that runs, which may be newer than
 * the header a program was built with. */
MORVANE_API const char* morvane_version(void);

/* A new converter with the command line's default options; null when
 * memory runs out. */
MORVANE_API morvane_converter* morvane_new(void);
MORVANE_API void morvane_free(morvane_converter* converter);

/* Sets the options as command-line words, from the defaults: each call
 * replaces what an earlier one set. The words are those of the command
 * line, one option each: "-sy" "-sl" "-sp" "-sv" "-sb" "-sn" "-se" "-ss"
 * "-sm", "-fy" "-fl" "-fp" "-fv" "-fb" "-fm" "-fn" "-fe" "-fs", "-l",
 * "-z", the crease angle with its number joined ("-a30"), and
 * "--faithful"; the letters after the dash in either case. Any other word,
 * a file name among them, gives MORVANE_BAD_OPTION and changes nothing; a
 * null word gives MORVANE_INVALID_ARGUMENT. "-z" is accepted and changes
 * nothing here: the output is always X3D text, and compressing it (the
 * program's gzip-compressed .x3dz file) is up to whoever stores it. */
MORVANE_API morvane_status morvane_set_options(morvane_converter* converter, const char* const* words,
                                               size_t count);
/* The name the output goes by ("model.x3d"): the viewpoints are named
 * after it, and a --faithful output names its images relative to its
 * folder. Default: "output.x3d". */
MORVANE_API morvane_status morvane_set_output_name(morvane_converter* converter, const char* name);
/* Where the document is, a path or a URL: a --faithful output resolves the
 * images the document names against it. Default: none (relative to the
 * working directory). */
MORVANE_API morvane_status morvane_set_location(morvane_converter* converter, const char* path_or_url);
/* Where the images a --faithful conversion makes go. Without one, no image
 * is made, and the output names each image where the document names it. */
MORVANE_API morvane_status morvane_set_image_handler(morvane_converter* converter, morvane_image_fn handler,
                                                     void* user);
/* Where progress marks go; without one they are dropped. */
MORVANE_API morvane_status morvane_set_progress_handler(morvane_converter* converter,
                                                        morvane_progress_fn handler, void* user);

/* Converts `size` bytes of a document, handing the output to `write` piece
 * by piece. Under --faithful the bytes may also be a zip archive (.kmz,
 * .zae), known by its first bytes: its document is converted, and the
 * images it names are taken from the archive and handed to the image
 * function under "OUTPUT_files/PATH" (OUTPUT the output name's last part
 * less its extension, PATH the image's path in the archive), the name the
 * output uses. The pieces make the whole output only when the result is
 * MORVANE_OK; otherwise what was handed must be thrown away. */
MORVANE_API morvane_status morvane_convert(morvane_converter* converter, const void* document, size_t size,
                                           morvane_write_fn write, void* user);
/* Converts `size` bytes of a document into one string, NUL-terminated,
 * with its length in `*output_size`. The string belongs to the caller,
 * who frees it with morvane_free_text; null unless MORVANE_OK. */
MORVANE_API morvane_status morvane_convert_to_text(morvane_converter* converter, const void* document, size_t size,
                                                   char** output, size_t* output_size);
MORVANE_API void morvane_free_text(char* text);

/* The diagnostics of the last conversion, in the order they arose: its
 * warnings, then, when it gave no output, the one error that says why.
 * MORVANE_INVALID_ARGUMENT leaves none; MORVANE_OUT_OF_MEMORY may leave
 * none. */
MORVANE_API size_t morvane_diagnostic_count(const morvane_converter* converter);
/* Null past the count. */
MORVANE_API const morvane_diagnostic* morvane_diagnostic_at(const morvane_converter* converter, size_t index);

#ifdef __cplusplus
}
#endif

#endif
