/// @file
/// File database, the flat layer: a folder with one file for each record.
///
/// A record is an opaque run of octets under a key. docs/formats/fileDatabase.md draws what stands on
/// disk. A key becomes part of a file name as it is: it must not be empty, and one that holds a slash is
/// refused like a null argument.
///
/// Nothing here locks. Storing replaces a record in one step, so that whoever reads meanwhile, in any
/// thread or process, finds the old record or the new one; a process that is killed and a machine that
/// loses power (see fdb_set_durable) leave one of the two as well. FileDB.h adds order between writers.
/// One thread uses one iterator at a time; any number may use one handle.
///
/// Failure is -1 or null, for a null argument too, with one line on the trace channel under "fdb".
#ifndef KXCERT_STORE_FDB_H_
#define KXCERT_STORE_FDB_H_

#include "kxcert/platform/export.h"

struct fdb_handle;
struct fdb_iterator;

/// What a store of this process waits for, in every database from now on: 0 nothing, so that a power cut
/// may leave a record empty or cut short; 1 the record's content, so that it leaves the old one or the new
/// one; 2 the folder too, so that what was stored is the new one. -1, as at the start, leaves it to the
/// environment variable KXCERT_FDB_DURABLE ("0", "1" or "2"), as it stood when each database was opened;
/// without one of these, and in a set-user-id program, that is 1. That the folder itself, when it is new,
/// stands in the one above it is not waited for. Any thread.
/// @return 0, or -1 for any other number, which changes nothing
KXCERT_EXPORT int fdb_set_durable(int durable);

/// Opens the database in the folder "name_version", which is made (mode 0777, less the umask) unless
/// it is there; the folder above it must be.
/// @return for fdb_close, or null
KXCERT_EXPORT fdb_handle *fdb_open(const char *name, const char *version);

/// @param[out] out  a new block for free(), which is there for an empty record as well; null on failure
/// @return the record's length in bytes. A record that shrinks while it is read keeps the length that
///         it began with and ends in zeros, by intent: readers refuse what does not decode.
/// @retval -1  no such record, unreadable, 2 GiB or longer, or no memory
KXCERT_EXPORT int fdb_read(fdb_handle *db, const char *key, void **out);

/// Adds a record, or replaces the one of the same key. On failure that one is as it was; only where the
/// folder is waited for (fdb_set_durable), and the wait fails, the new one is there, until a power cut perhaps.
/// @param len  bytes, at least 1
/// @return 0 or -1
KXCERT_EXPORT int fdb_store(fdb_handle *db, const char *key, const void *buf, int len);

KXCERT_EXPORT int fdb_remove(fdb_handle *db, const char *key);  ///< 0, or -1 (no such record, say)

/// Walks the keys in the folder's own order. What is stored or removed meanwhile may be met or not.
/// @return for fdb_iter_destroy, or null
KXCERT_EXPORT fdb_iterator *fdb_iter(fdb_handle *db);
/// The next key, lent until the next call for the same iterator; null at the end, and from then on.
KXCERT_EXPORT const char *fdb_iter_next(fdb_iterator *iter);
KXCERT_EXPORT void fdb_iter_destroy(fdb_iterator *iter);  ///< null is ignored

/// The files stay. Null is ignored.
KXCERT_EXPORT void fdb_close(fdb_handle *db);

/// Removes every record, then the folder; the handle is still to be closed. A file that is no record,
/// such as what a killed process left of a store, stays and keeps the folder: the result is then -1.
/// The stream of the folder that this opens stays open, by intent, until fdb_close.
KXCERT_EXPORT int fdb_destroy(fdb_handle *db);

#endif
