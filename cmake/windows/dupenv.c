/* A function of the system's C library that Wine 8's has no body for, and MinGW's import library no name.
   Works as the system's does: what isn't set gives nothing, and no error. */
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

static errno_t DuplicateVariable(wchar_t** outValue, size_t* outCount, const wchar_t* inName) {
    if (outValue == NULL || inName == NULL) return EINVAL;
    *outValue = NULL;
    if (outCount != NULL) *outCount = 0;
    const wchar_t* value = _wgetenv(inName);
    if (value == NULL) return 0;
    const size_t count = wcslen(value) + 1;
    *outValue = malloc(count * sizeof(wchar_t));
    if (*outValue == NULL) return ENOMEM;
    memcpy(*outValue, value, count * sizeof(wchar_t));
    if (outCount != NULL) *outCount = count;
    return 0;
}

/* The name under which calls of a library's function are linked. */
errno_t (*const __imp__wdupenv_s)(wchar_t**, size_t*, const wchar_t*) = DuplicateVariable;
