/* Converts the COLLADA file named by its first argument and prints the X3D. */
#include <morvane/morvane.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int print(void* out, const char* data, size_t size) {
    return fwrite(data, 1, size, out) == size ? 0 : 1;
}

int main(int argc, char** argv) {
    FILE* file = argc > 1 ? fopen(argv[1], "rb") : NULL;
    if (file == NULL) return 2;
    char* document = NULL;
    size_t size = 0, got;
    char buffer[65536];
    while ((got = fread(buffer, 1, sizeof buffer, file)) > 0) {
        document = realloc(document, size + got);
        if (document == NULL) return 2;
        memcpy(document + size, buffer, got);
        size += got;
    }
    fclose(file);
    morvane_converter* converter = morvane_new();
    int status = morvane_convert(converter, document, size, print, stdout);
    for (size_t i = 0; i < morvane_diagnostic_count(converter); ++i)
        fprintf(stderr, "%s: %s\n", argv[1], morvane_diagnostic_at(converter, i)->message);
    morvane_free(converter);
    free(document);
    return status == MORVANE_OK ? 0 : 1;
}
