/* A C99 caller of the public headers, built with -std=c99 -Wall -Wextra -Werror
 * -pedantic and linked against the shared library. Exit status 0 means every
 * check below held. */
#include <stdio.h>
#include <string.h>

#include "lumcore.h"
#include "lumdc.h"

int main(void) {
    static const uint8_t check[9] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    const LumLibraryVersion* v = lumdcGetLibVersion();
    uint32_t adler = 1, crc = 0, bz2 = 0, crc32c = 0xFFFFFFFFu;
    int failures = 0;
    LumStatus st = lumStatusOk;

    st |= lumsAdler32_8u(check, 9, &adler);
    st |= lumsCRC32_8u(check, 9, &crc);
    st |= lumsCRC32_BZ2_8u(check, 9, &bz2);
    st |= lumsCRC32C_8u(check, 9u, &crc32c);
    failures += st != lumStatusOk;
    failures += adler != 0x091E01DEu;
    failures += crc != 0xCBF43926u;
    failures += bz2 != 0xFC891918u;
    failures += crc32c != 0x1CF96D7Cu;
    failures += lumsCRC32_8u(check, 0, &crc) != lumStatusSizeErr;
    failures += v->major != 2022 || memcmp(v->targetCpu, "q2", 2) != 0;
    failures += lumcoreGetFeatures() == 0 && ownGetFeature(LUM_CPU_SSE2);
    printf("%s %s: %d failure(s)\n", v->name, v->version, failures);
    return failures == 0 ? 0 : 1;
}
