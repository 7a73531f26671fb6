#include "testing/contracts/library_changes_contract.h"

#include "testing/platform/linux_library_subject.h"

namespace quorvin {
namespace {

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, LibraryChangesContract, LinuxLibrarySubject);

}  // namespace
}  // namespace quorvin
