/* Package version files. */
#ifndef PLATFORM_SRG_SW_VER_H
#define PLATFORM_SRG_SW_VER_H

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the version text held in the package version file at `path`, or null when there is no such file, it cannot
 * be read, or `path` is null. The text belongs to the platform and is valid until the next call. */
const char* srg_sw_ver_file_get(const char* path);

#ifdef __cplusplus
}
#endif

#endif
