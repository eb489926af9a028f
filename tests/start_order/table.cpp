// Writes the table of start orders into a document, or checks that it is the present one.
//   start_order_table docs/start-order.md
//   start_order_table --check docs/start-order.md
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "tests/start_order/model.h"

namespace {

using namespace start_order;

const std::string kBegin = "<!-- begin: written by start_order_table -->\n";
const std::string kEnd = "<!-- end -->\n";

std::string cell(const Told& told) {
  std::string text;
  for (const std::string& word : told) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text.empty() ? "nothing" : text;
}

std::string cells(const Model& model) {
  std::string row;
  for (const Part part : {kNavi, kMusic, kHandsFree, kPlayback}) {
    row += " | " + cell(model.told(part));
  }
  return row + " |\n";
}

const std::string kColumns = "navi | music | hands-free | playback |\n|---|---|---|---|---|\n";

std::string startTable() {
  std::string table = "| started in this order | " + kColumns;
  for (const Order& order : allOrders()) {
    Model model;
    std::string names;
    for (const Part part : order) {
      model.start(part);
      names += (names.empty() ? "" : ", ") + std::string(nameOf(part));
    }
    table += "| " + names + cells(model);
  }
  return table;
}

// What is told from the restart on, everything being up.
std::string restartTable() {
  std::string table = "| restarted | " + kColumns;
  for (const bool isSoon : {false, true}) {
    for (std::size_t part = 0; part < kParts; ++part) {
      if (isSoon && part != kHandsFree) {
        continue;  // for the others it is the same
      }
      Model model;
      const Order order = isSoon ? Order{kPhone, kPlayback, kHandsFree, kNavi, kMusic}
                                 : Order{kNavi, kMusic, kHandsFree, kPlayback, kPhone};
      for (const Part started : order) {
        model.start(started);
      }
      const Model before = model;
      model.stop(static_cast<Part>(part));
      model.start(static_cast<Part>(part));
      table += std::string("| ") + nameOf(static_cast<Part>(part)) +
               (isSoon               ? ", within 5 s of a registration"
                : part == kHandsFree ? ", later"
                                     : "") +
               cells(model.since(before));
    }
  }
  return table;
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
  const bool isCheck = argc == 3 && std::string(argv[1]) == "--check";
  if (argc != 2 && !isCheck) {
    fprintf(stderr, "usage: start_order_table [--check] FILE\n");
    return 2;
  }
  const std::string path = argv[argc - 1];
  const std::string before = readFile(path);
  const std::size_t begin = before.find(kBegin);
  const std::size_t end = before.find(kEnd);
  if (begin == std::string::npos || end == std::string::npos || end < begin) {
    fprintf(stderr, "%s: there are no marks for the table\n", path.c_str());
    return 1;
  }
  const std::string after =
      before.substr(0, begin) + kBegin + "\n" + startTable() + "\n" + restartTable() + "\n" + before.substr(end);
  if (after == before) {
    return 0;
  }
  if (isCheck) {
    fprintf(stderr, "%s: the table is not the present one; run start_order_table %s\n", path.c_str(), path.c_str());
    return 1;
  }
  std::ofstream(path, std::ios::binary) << after;
  return 0;
}
