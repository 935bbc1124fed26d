/* Package version files. */
#ifndef PLATFORM_SRG_SW_VER_H
#define PLATFORM_SRG_SW_VER_H

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the text of the package version file at `path`. Returns null if `path` is null, or if the file does not exist
 * or cannot be read. The text belongs to the platform and is valid until the next call. */
const char* srg_sw_ver_file_get(const char* path);

#ifdef __cplusplus
}
#endif

#endif
