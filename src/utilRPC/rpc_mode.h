#pragma once

// Which of the two interfaces this process speaks.

namespace RpcMode {

// Index of the product identity in the mode table: 0, 1 or 2; -1 for an unknown one. Identity 2
// has no interface of its own.
constexpr int kFirst = 0;
constexpr int kSecond = 1;

// Reads the identity of the process and logs it under the given source name.
int ReadFromFramework(const char* source);

}  // namespace RpcMode
