/* The host façade as a C interface, for managed hosts and any language with
 * a foreign-function interface. Built as the shared library libzel_host.so.
 *
 * Handles. A zel_host_file is one ZELFile; a zel_host_block is one ZELBlock.
 * Both are opaque, made by this library and freed by it, each exactly once,
 * with its own _free function, in any order and from any thread (a managed
 * runtime's finaliser may run on its own). Freeing a file that was not closed
 * closes it and drops the close's failure, as finalisation does; call
 * zel_host_file_close first to learn of it. A block handle outlives its file
 * safely, but every operation on it after the file was closed or freed fails
 * with System.ObjectDisposedException. Apart from freeing, all calls on one
 * file and its blocks come from one thread at a time.
 *
 * Strings are UTF-16, NUL-terminated, and borrowed for the length of the
 * call. A null pointer is the host's null string, which is not the empty
 * string; the operations check both as the objects do. A string this library
 * returns stays valid until the next call on the same thread that returns a
 * string.
 *
 * Status. Every call but the _free functions and the error accessors returns
 * ZEL_HOST_OK or a failure status, and never lets an exception out. After a
 * failure the calling thread keeps, until its next failure or
 * zel_host_clear_error:
 *   - the exception's type name: for ZEL_HOST_HOST_EXCEPTION one of the
 *     managed runtime's, "System.ArgumentNullException",
 *     "System.ArgumentException", "System.ArgumentOutOfRangeException",
 *     "System.InvalidOperationException", "System.InsufficientMemoryException",
 *     "System.ObjectDisposedException"; for ZEL_HOST_NATIVE_EXCEPTION the
 *     native class, as "vorn::zel::zel_validation_exception",
 *     "vorn::zel::zel_exception", "vorn::zela::zel_archive_exception",
 *     "vorn::system::mmap::mmap_error", "vorn::zlib_runtime_exception",
 *     "vorn::vorn_exception", "std::invalid_argument", "std::bad_alloc" or,
 *     for any other, "std::exception";
 *   - its text: for a host exception, the one string to give that type's
 *     one-string constructor (which for ArgumentNullException and
 *     ArgumentOutOfRangeException is the parameter name, as the objects use
 *     it); for a native exception, its full message.
 * Out arguments are written only on success.
 */
#ifndef ZEL_FACADE_ZEL_HOST_H
#define ZEL_FACADE_ZEL_HOST_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZEL_HOST_API __attribute__((visibility("default")))
#else
#define ZEL_HOST_API
#endif

/* One UTF-16 code unit. */
typedef uint16_t zel_host_char;

typedef struct zel_host_file zel_host_file;
typedef struct zel_host_block zel_host_block;

enum {
    ZEL_HOST_OK = 0,
    /* An exception of the managed runtime's family: raise one of that name. */
    ZEL_HOST_HOST_EXCEPTION = 1,
    /* A failure of the native layers, which the objects pass on as it is. */
    ZEL_HOST_NATIVE_EXCEPTION = 2
};

/* ZELFile.Create: a package at filename, validated against the content
 * libraries in content_location. *message receives the log text. */
ZEL_HOST_API int zel_host_file_create(const zel_host_char* filename,
                                      const zel_host_char* content_location,
                                      zel_host_file** file, const zel_host_char** message);
/* ZELFile.AddBlock; *block is a new handle. */
ZEL_HOST_API int zel_host_file_add_block(zel_host_file* file, const zel_host_char* type_tag,
                                         const zel_host_char* block_name, zel_host_block** block);
/* ZELFile.BlockExists; *exists is 1 or 0. */
ZEL_HOST_API int zel_host_file_block_exists(zel_host_file* file, const zel_host_char* block_name,
                                            int* exists);
/* ZELFile.AddBinaryData with a path; *name is the entry that holds the bytes. */
ZEL_HOST_API int zel_host_file_add_binary_file(zel_host_file* file, const zel_host_char* hint,
                                               const zel_host_char* path,
                                               const zel_host_char** name);
/* ZELFile.AddBinaryData with bytes; a null data pointer is the absent box. */
ZEL_HOST_API int zel_host_file_add_binary_data(zel_host_file* file, const zel_host_char* hint,
                                               const void* data, int32_t size,
                                               const zel_host_char** name);
/* The same with the box spelt out, for hosts whose box can hold a null
 * pointer: present 0 is the absent box; present 1 with a null data pointer is
 * a box that holds one, which passes the check. Arrays go this way too. */
ZEL_HOST_API int zel_host_file_add_binary_boxed(zel_host_file* file, const zel_host_char* hint,
                                                int present, const void* data, int32_t size,
                                                const zel_host_char** name);
/* ZELFile.CloseFile (and Dispose): completes the package; any number of times. */
ZEL_HOST_API int zel_host_file_close(zel_host_file* file);
/* Finalisation: closes the package if nobody did, then frees the handle. */
ZEL_HOST_API void zel_host_file_free(zel_host_file* file);

/* ZELBlock.AddParameter, one function per overload. */
ZEL_HOST_API int zel_host_block_add_int(zel_host_block* block, const zel_host_char* param_name,
                                        int32_t val);
ZEL_HOST_API int zel_host_block_add_float(zel_host_block* block, const zel_host_char* param_name,
                                          float val);
ZEL_HOST_API int zel_host_block_add_string(zel_host_block* block, const zel_host_char* param_name,
                                           const zel_host_char* val);
ZEL_HOST_API int zel_host_block_add_typed(zel_host_block* block, const zel_host_char* param_name,
                                          const zel_host_char* val_type, const zel_host_char* val,
                                          const zel_host_char* unit_type);
/* ZELBlock.AddLink; a null location is the two-argument form. */
ZEL_HOST_API int zel_host_block_add_link(zel_host_block* block, const zel_host_char* param_name,
                                         const zel_host_char* block_name,
                                         const zel_host_char* location);
ZEL_HOST_API int zel_host_block_add_link_with_tag(zel_host_block* block,
                                                  const zel_host_char* param_name,
                                                  const zel_host_char* block_name,
                                                  const zel_host_char* tag_name);
ZEL_HOST_API int zel_host_block_add_binary_link(zel_host_block* block,
                                                const zel_host_char* param_name,
                                                const zel_host_char* bin_name,
                                                const zel_host_char* location);
/* ZELBlock.AddBinaryLinkWithData with a path. */
ZEL_HOST_API int zel_host_block_add_binary_file(zel_host_block* block,
                                                const zel_host_char* param_name,
                                                const zel_host_char* path_to_data,
                                                const zel_host_char* bin_name_hint);
/* ZELBlock.AddBinaryLinkWithData with bytes; a null data pointer is the
 * absent box. */
ZEL_HOST_API int zel_host_block_add_binary_data(zel_host_block* block,
                                                const zel_host_char* param_name,
                                                const zel_host_char* bin_name_hint,
                                                const void* data, int32_t size);
/* The same with the box spelt out, as zel_host_file_add_binary_boxed. */
ZEL_HOST_API int zel_host_block_add_binary_boxed(zel_host_block* block,
                                                 const zel_host_char* param_name,
                                                 const zel_host_char* bin_name_hint, int present,
                                                 const void* data, int32_t size);
ZEL_HOST_API int zel_host_block_add_extra_attribute(zel_host_block* block,
                                                    const zel_host_char* attr_name,
                                                    const zel_host_char* attr_value);
ZEL_HOST_API void zel_host_block_free(zel_host_block* block);

/* The calling thread's last failure: its status (ZEL_HOST_OK if none), type
 * name and text, the strings valid until the thread's next failure or
 * zel_host_clear_error; empty strings if none. */
ZEL_HOST_API int zel_host_last_error_status(void);
ZEL_HOST_API const zel_host_char* zel_host_last_error_type(void);
ZEL_HOST_API const zel_host_char* zel_host_last_error_text(void);
ZEL_HOST_API void zel_host_clear_error(void);

#ifdef __cplusplus
}
#endif

#endif /* ZEL_FACADE_ZEL_HOST_H */
