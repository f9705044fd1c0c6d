/// @file
/// Fills the registries of open types.
#ifndef KXCERT_SRC_ASN1_MODULES_REGISTERMODULES_H_
#define KXCERT_SRC_ASN1_MODULES_REGISTERMODULES_H_

/// Registers every module, once per process, in module order: identifier numbers depend on nothing
/// else. Runs when the library is loaded, and before the first look-up if that comes earlier.
void sxAsnRegisterModules();

#endif
