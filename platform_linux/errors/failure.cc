#include "platform_linux/errors/failure.h"

namespace quorvin {

std::string Failure::sentence() const {
  std::string sentence = reason;
  // What begins with a letter beyond these is a name in quotation marks.
  if (!sentence.empty() && sentence[0] >= 'a' && sentence[0] <= 'z') {
    sentence[0] = static_cast<char>(sentence[0] - 'a' + 'A');
  }
  return subject.empty() ? sentence : subject + ": " + sentence;
}

}  // namespace quorvin
