// What the system's error numbers mean to each domain, and failures made of them. An attempt says
// what could not be done.
#pragma once

#include <string>
#include <string_view>

#include "platform_linux/errors/failure.h"

namespace quorvin {

/// "ATTEMPT: reason.", in the library's domain, with the code that fits the error number.
Failure systemFailure(std::string_view attempt, int errorNumber);

/// "ATTEMPT because REASON.", in the domain of files, with the code and the reason that fit the
/// error number.
Failure fileFailure(std::string_view attempt, int errorNumber);

/// Of making or replacing the file, in the domain of files.
Failure savingFailure(const std::string& path, int errorNumber);

/// The error number says that there is no such file.
bool meansMissing(int errorNumber);

/// The last component of the path, in quotation marks.
std::string quotedName(const std::string& path);

/// The path without its last component: "." when it has no other, "/" for one in the root.
std::string folderOf(const std::string& path);

}  // namespace quorvin
