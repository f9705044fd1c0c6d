/// @file
/// Registry emulation: 32-bit values and texts by key path, read from one text file.
///
/// The file is "registry" in the configuration directory, an attribute set whose members are the
/// path's parts: (:SOFTWARE (:Norvane (:Tarnel (:bc_DirectoryString_choiceID (1))))). Without the file no key
/// opens and callers use their defaults. Any thread; the file is read at each key that is opened.
#ifndef KXCERT_FOUNDATION_REGISTRY_H_
#define KXCERT_FOUNDATION_REGISTRY_H_

#include "kxcert/platform/export.h"

struct NvpRegKey;

/// The root under which the product's settings stand.
KXCERT_EXPORT NvpRegKey *NvpRegGlobalEntry_HKEY_LOCAL_MACHINE();

/// Opens the key at @p path, its parts divided by backslashes; null (and nothing made) when it does not exist.
/// @return for NvpRegCloseKey
KXCERT_EXPORT NvpRegKey *NvpRegCreateKey(NvpRegKey *root, const char *path);

/// @retval  0  *value is set
/// @retval -1  null argument, no such value, or it is no 32-bit number
KXCERT_EXPORT int NvpRegQueryValueEx(NvpRegKey *key, const char *name, unsigned *value);
KXCERT_EXPORT void NvpRegCloseKey(NvpRegKey *key);  ///< null and the root are ignored

#endif
