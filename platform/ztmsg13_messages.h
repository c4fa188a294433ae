// SPDX-License-Identifier: MIT
//
// Every message that the library raises: its group, its number and the arguments that come with
// it. This is what a catalog text's directives are checked against, and how the arguments are told
// apart when there is no text. Groups and numbers leave the process and are frozen; a new message
// is a new row here and a new line in each locale's source below home/share/msg.

#ifndef ZTMSG13_MESSAGES_H
#define ZTMSG13_MESSAGES_H

#include <cstddef>
#include <iterator>
#include <string_view>

struct ZtMessage {
  std::string_view group;
  int number;
  // One letter an argument: 's' is a text (char const*, null counts as empty), 'i' an int.
  std::string_view arguments;
};

inline constexpr std::string_view kZtBaseServices = "Base Services";
inline constexpr std::string_view kZtEventPlugin = "Event Plugin";
// Pieces of text that belong to no group; the catalogs keep them under this name.
inline constexpr std::string_view kZtFragments = "Fragments";

// Sorted by group and number; one message a line.
// clang-format off
inline constexpr ZtMessage kZtMessages[] = {
    {kZtBaseServices, 29, "s"},       // what there was no memory for
    {kZtBaseServices, 97, "s"},       // a reason, or the empty text
    {kZtBaseServices, 332, "iss"},    // code, folder, reason
    {kZtBaseServices, 333, "ss"},     // command, its output
    {kZtBaseServices, 335, ""},
    {kZtBaseServices, 336, ""},
    {kZtBaseServices, 337, ""},
    {kZtBaseServices, 377, "s"},      // reason
    {kZtBaseServices, 378, "i"},      // code of the abort
    {kZtBaseServices, 380, "s"},      // reason
    {kZtBaseServices, 444, ""},
    {kZtBaseServices, 445, "s"},      // path
    {kZtBaseServices, 446, "s"},      // path
    {kZtBaseServices, 447, "s"},      // path
    {kZtBaseServices, 448, ""},
    {kZtBaseServices, 449, "ss"},     // header's name, its value
    {kZtBaseServices, 450, ""},
    {kZtBaseServices, 451, ""},
    {kZtBaseServices, 452, ""},
    {kZtBaseServices, 453, "s"},      // path
    {kZtBaseServices, 454, "s"},      // path
    {kZtBaseServices, 467, "si"},     // path, code
    {kZtBaseServices, 471, "s"},      // reason
    {kZtBaseServices, 1352, "si"},    // path, code
    {kZtBaseServices, 1353, "ss"},    // path, reason
    {kZtBaseServices, 1420, ""},
    {kZtBaseServices, 1666, "s"},     // variable
    {kZtBaseServices, 1758, "ssii"},  // what was expected, what was found, line, 1
    {kZtBaseServices, 1759, "s"},     // what was expected
    {kZtBaseServices, 1760, "sii"},   // opening bracket, line, 1
    {kZtBaseServices, 1762, "s"},     // variable
    {kZtBaseServices, 1763, "ii"},    // line, 1
    {kZtBaseServices, 1776, "ss"},    // what stands twice, its name
    {kZtBaseServices, 1778, "ss"},    // value, type
    {kZtBaseServices, 1795, ""},
    {kZtEventPlugin, 29, "s"},        // what there was no memory for, or the empty text
    {kZtEventPlugin, 332, "iss"},     // code, folder or the empty text, reason
    {kZtEventPlugin, 377, "s"},       // reason
    {kZtEventPlugin, 378, "i"},       // code of the abort
    {kZtEventPlugin, 380, "s"},       // reason
    {kZtFragments, 444, ""},
};
// clang-format on

inline constexpr std::size_t kZtMessageCount = std::size(kZtMessages);

constexpr bool ztMessageBefore(ZtMessage const& a, std::string_view group, int number) {
  int const order = a.group.compare(group);
  return order < 0 || (order == 0 && a.number < number);
}

constexpr bool ztMessagesAreSorted() {
  for (std::size_t i = 1; i < kZtMessageCount; ++i) {
    if (!ztMessageBefore(kZtMessages[i - 1], kZtMessages[i].group, kZtMessages[i].number)) {
      return false;
    }
  }
  return true;
}
static_assert(ztMessagesAreSorted());

// The row of a message, or null for a number that isn't declared.
constexpr ZtMessage const* ztFindMessage(std::string_view group, int number) {
  std::size_t first = 0;
  std::size_t last = kZtMessageCount;
  while (first < last) {
    std::size_t const middle = first + (last - first) / 2;
    if (ztMessageBefore(kZtMessages[middle], group, number)) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  bool const found = first < kZtMessageCount && kZtMessages[first].group == group &&
                     kZtMessages[first].number == number;
  return found ? &kZtMessages[first] : nullptr;
}

#endif
