#include "testing/contracts/photo_library_contract.h"
#include "testing/platform/linux_library_subject.h"

namespace quorvin {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, PhotoLibraryContract, LinuxLibrarySubject);

}  // namespace
}  // namespace quorvin
