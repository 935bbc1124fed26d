// The shape of a b-tree in an image.
#ifndef PLATFORM_EMBEDDED_TREE_H
#define PLATFORM_EMBEDDED_TREE_H

#include <sqlite3.h>

#include "platform/types.h"

namespace pss_embedded {

// Returns 0 if the b-tree at page `root` has at most 20 levels, as SQLite requires, and contains no page twice. Returns
// SYSERR_PSS_DAMAGED otherwise, or SYSERR_PSS_NO_MEMORY. SQLite needs both: a scan reads shared pages as often as they
// are referred to, and quick_check recurses as deep as the tree is. Takes time in proportion to the number of pages.
syserr_t check_tree(const uint8* image, sqlite3_int64 size, uint32 root);

}  // namespace pss_embedded

#endif
