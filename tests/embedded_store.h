// A temporary nonvolatile root with stores of the embedded platform.
#ifndef TESTS_EMBEDDED_STORE_H
#define TESTS_EMBEDDED_STORE_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "platform/embedded/pss_embedded.h"
#include "platform/syserr.h"
#include "tests/bytes.h"

using Records = std::map<Bytes, Bytes>;

class EmbeddedStoreTest : public testing::Test {
 protected:
  EmbeddedStoreTest() {
    std::string name = std::filesystem::temp_directory_path() / "convertvrrp-test-XXXXXX";
    root = mkdtemp(name.data());
    setenv("PSS_NONVOLATILE_ROOT", root.c_str(), 1);
  }
  ~EmbeddedStoreTest() override { std::filesystem::remove_all(root); }

  static std::string url(const std::string& name) { return "nonvolatile:/" + name; }
  std::string file(const std::string& name) const { return root + "/" + name; }

  std::string content(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(file(name), std::ios::binary).rdbuf();
    return text.str();
  }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
  }

  static pss_service_t open(const std::string& name, syserr_t expected = 0) {
    syserr_t status = 1;
    const pss_service_t table = pss_open(url(name).c_str(), &status);
    EXPECT_EQ(status, expected) << syserr2str(status);
    EXPECT_EQ(table != 0, expected == 0);
    return table;
  }

  static syserr_t put(pss_service_t table, const Bytes& key, const Bytes& value, uint32 mode = PSS_REPLACE) {
    const pss_datum_t k = datum(key), v = datum(value);
    return pss_store(table, mode, &k, &v);
  }

  static syserr_t remove(pss_service_t table, const Bytes& key) {
    const pss_datum_t k = datum(key);
    return pss_delete(table, &k);
  }

  // Returns the key under the cursor after a move, or the text of the status.
  static Bytes at(pss_service_t table, pss_location_t location) {
    syserr_t status;
    const pss_datum_t* key = pss_move2location(table, location, &status);
    return key == nullptr ? "(none)" : status == 0 ? bytes_of(*key) : "(failed)";
  }

  static Bytes value(pss_service_t table) {
    syserr_t status;
    const pss_datum_t* found = pss_getvalue(table, &status);
    return found == nullptr ? "(none)" : bytes_of(*found);
  }

  static Records records(pss_service_t table) {
    Records all;
    for (Bytes key = at(table, PSS_FIRST_KEY); key != "(none)"; key = at(table, PSS_NEXT_KEY)) {
      if (key == "(failed)" || !all.emplace(key, value(table)).second) {
        ADD_FAILURE() << "the walk failed or returned to " << key;
        break;
      }
    }
    return all;
  }

  static Records records(const std::string& name) {
    const pss_service_t table = open(name);
    const Records all = records(table);
    EXPECT_EQ(pss_close(table), 0u);
    return all;
  }

  static void create(const std::string& name, const Records& content) {
    ASSERT_EQ(pss_embedded_create(url(name).c_str()), 0u);
    const pss_service_t table = open(name);
    for (const auto& [key, value] : content) EXPECT_EQ(put(table, key, value), 0u);
    EXPECT_EQ(pss_close(table), 0u);
  }

  // Sets up a conversion like the system manager: directories, VDC 1, and both version files.
  void set_up_device(const std::string& from, const std::string& to) const {
    for (const char* directory : {"d/bin", "tmp"}) std::filesystem::create_directories(file(directory));
    setenv("SYSMGR_VDC_ID", "1", 1);
    setenv("SYSMGR_TO_SRG_PATH", file("to").c_str(), 1);
    setenv("SYSMGR_FROM_SRG_PATH", file("from").c_str(), 1);
    set_releases(from, to);
  }
  void set_releases(const std::string& from, const std::string& to) const {
    write("from", from);
    write("to", to);
  }

  std::string root;
};

#endif
