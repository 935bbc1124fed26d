#include "platform/embedded/tree.h"

#include <cstring>
#include <memory>

#include "platform/embedded/image.h"
#include "platform/embedded/pss_embedded.h"

namespace pss_embedded {
namespace {

constexpr uint8 levels_max = 20;

class Walk {
 public:
  Walk(const uint8* image, sqlite3_int64 size)
      : image_(image), page_size_(page_size_of(image)), page_count_(static_cast<uint32>(size / page_size_)) {}

  syserr_t run(uint32 root) {
    const sqlite3_uint64 pages = page_count_ + sqlite3_uint64{1};  // page numbers start at 1
    levels_.reset(static_cast<uint8*>(sqlite3_malloc64(pages)));
    queue_.reset(static_cast<uint32*>(sqlite3_malloc64(pages * sizeof(uint32))));
    if (levels_ == nullptr || queue_ == nullptr) return SYSERR_PSS_NO_MEMORY;
    memset(levels_.get(), 0, pages);
    bool is_tree = add(root, 1);
    for (uint32 next = 0; is_tree && next < found_; ++next) is_tree = add_children(queue_.get()[next]);
    return is_tree ? 0 : SYSERR_PSS_DAMAGED;
  }

 private:
  bool add(uint32 page, int level) {
    if (page == 0 || page > page_count_ || level > levels_max || levels_.get()[page] != 0) return false;
    levels_.get()[page] = static_cast<uint8>(level);
    queue_.get()[found_++] = page;
    return true;
  }

  // An interior page has the number of the last child at offset 8, then the offsets of its cells, 2 bytes each. A cell
  // begins with the number of a child.
  bool add_children(uint32 number) {
    const uint8* page = image_ + static_cast<size_t>(number - 1) * page_size_;
    const uint32 start = number == 1 ? 100 : 0;  // after the header of the file
    const int level = levels_.get()[number] + 1;
    constexpr uint8 interior_index = 2, interior_table = 5;
    if (page[start] != interior_index && page[start] != interior_table) return true;
    const size_t cells = big_endian(page + start + 3, 2);
    if (start + 12 + 2 * cells > page_size_) return false;
    for (size_t i = 0; i < cells; ++i) {
      const uint32 cell = big_endian(page + start + 12 + 2 * i, 2);
      if (cell + 4 > page_size_ || !add(big_endian(page + cell, 4), level)) return false;
    }
    return add(big_endian(page + start + 8, 4), level);
  }

  const uint8* image_;
  uint32 page_size_, page_count_;
  std::unique_ptr<uint8, FreeMemory> levels_{};  // by page number; 0 if the page was not found
  std::unique_ptr<uint32, FreeMemory> queue_{};  // the pages that were found
  uint32 found_ = 0;
};

}  // namespace

syserr_t check_tree(const uint8* image, sqlite3_int64 size, uint32 root) { return Walk(image, size).run(root); }

}  // namespace pss_embedded
