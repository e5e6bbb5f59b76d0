#pragma once
// The calling thread's call stack as the platform's symbol lines, one per frame:
//   "<n> <binary> 0x<address, 16 hex digits> [<class> <method>] + <offset>"
//   "1   OvrinLoggingTests                  0x000055d4c3a2b1f0 [OVNLoggerTest_TraceStack_Test TestBody] + 31"
// Split at the characters " -[]+?.," a line gives: 0 frame number, 1 binary, 2 address,
// 3 class, 4 method, 5 offset. Separators inside names are replaced by '_'; a shared
// library's name is cut at ".so". Class and method are the last two components of the
// demangled qualified name (template arguments dropped); a function at global scope has
// the class "global"; an address without a symbol reads "unknown unknown". Names come from
// each file's full ELF symbol table, so executables need no -rdynamic.
// Thread-safe.

#include <string>
#include <vector>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNCallStack {
 public:
  //! Frame 0 is the function that called callStackSymbols, frame 1 its caller, ...
  static std::vector<std::string> callStackSymbols();
};
