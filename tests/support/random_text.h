// Random test text drawn from a small alphabet, for model comparisons.
#ifndef KY_TESTS_RANDOM_TEXT_H
#define KY_TESTS_RANDOM_TEXT_H

#include <random>
#include <string>

namespace ky::test {

// Up to max bytes, each drawn from alphabet.
inline std::string Text(std::mt19937& rng, const std::string& alphabet, size_t max) {
  std::string s(rng() % (max + 1), ' ');
  for (char& c : s) c = alphabet[rng() % alphabet.size()];
  return s;
}

}  // namespace ky::test

#endif  // KY_TESTS_RANDOM_TEXT_H
