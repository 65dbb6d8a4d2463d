// Level names, abbreviations and the level parser.
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ky/log.h"

namespace {

struct LevelWords {
  const char* name;
  const char* abbreviation;
};

// Indexed by level + 1: ALWAYS, then EMERG (0) to DEBUG (7), then DEBUG+.
constexpr LevelWords kLevels[] = {
    {"ALWAYS", "a+"}, {"EMERG", "em"},  {"ALERT", "al"}, {"CRIT", "cr"},  {"ERROR", "er"},
    {"WARN", "wa"},   {"NOTICE", "no"}, {"INFO", "in"},  {"DEBUG", "de"}, {"DEBUG+", "d+"},
};

const LevelWords& WordsOf(int level) {
  if (level < 0) return kLevels[0];
  if (level > 7) return kLevels[9];
  return kLevels[level + 1];
}

// Level names are ASCII; the comparison must not depend on the locale.
char AsciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool StartsWithNoCase(const char* text, const char* prefix) {
  for (; *prefix; ++text, ++prefix) {
    if (AsciiLower(*text) != AsciiLower(*prefix)) return false;
  }
  return true;
}

bool EqualsNoCase(const char* text, const char* word) {
  return StartsWithNoCase(text, word) && text[std::strlen(word)] == '\0';
}

// A debug level: 7 plus the number after the prefix, a negative or missing
// number counting as 0. Huge numbers stay debug levels rather than wrapping.
int DebugLevel(const char* digits) {
  const long extra = std::strtol(digits, nullptr, 10);
  if (extra <= 0) return 7;
  return extra > INT_MAX - 7 ? INT_MAX : static_cast<int>(7 + extra);
}

}  // namespace

namespace ky {

const char* log::LevelName(int level) { return WordsOf(level).name; }

const char* log::LevelAbbreviation(int level) { return WordsOf(level).abbreviation; }

int log::LevelOf(const char* text) {
  if (!text || !*text) return LevelError;
  for (int level = -1; level <= 6; ++level) {
    const LevelWords& w = WordsOf(level);
    if (EqualsNoCase(text, w.name) || EqualsNoCase(text, w.abbreviation)) return level;
  }
  if (StartsWithNoCase(text, "debug")) return DebugLevel(text + 5);
  if (StartsWithNoCase(text, "de")) return DebugLevel(text + 2);
  // Anything else is a number; an unknown word reads as 0, the most severe
  // level, which configuration mistakes are better off showing than hiding.
  const long value = std::strtol(text, nullptr, 10);
  const auto low = static_cast<int32_t>(static_cast<uint32_t>(static_cast<unsigned long>(value)));
  return low >= 0 ? low : LevelAlways;
}

}  // namespace ky
