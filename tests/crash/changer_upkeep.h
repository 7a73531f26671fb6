// What is done to a library without an engine: files come in, and its owner looks after it.
//
// Each tells "done" when it is done, with what `ledger.h` compares; "error" and why when it is not;
// "declined" when somebody else was at it.
#pragma once

#include <string>
#include <vector>

namespace quorvin {

class MediaService;

/// In one run. The files are in the folder.
void importFiles(const std::string& library, MediaService& media, const std::string& folder,
                 const std::vector<std::string>& names);
void makeOneSnapshot(const std::string& library);
/// Beside the library.
void backUp(const std::string& library, bool mayLink);
/// Reads all of it. A finding is an error.
void checkAll(const std::string& library);
/// Puts right what is not. With `mustBeSound`, that is an error.
void repair(const std::string& library, bool mustBeSound);
void emptyWholeTrash(const std::string& library);
void restoreAll(const std::string& library, const std::vector<std::string>& identifiers);

}  // namespace quorvin
