// One package being written. The argument checks, the text conversion, the
// loading of the two content libraries and the retry of a binary from memory
// all happen in libzel_host.so; this class carries the calls across and
// raises what comes back (Ensure).
//
// Lifecycle. CloseFile completes the package; it and Dispose may be called
// any number of times. After a close that raised the object counts as closed
// all the same: the writer is gone and nothing is closed or freed twice.
// Dispose closes, frees the native object and takes this object off the
// finalisation list. A ZELFile that nobody closed is closed by its finaliser,
// at a collection or when the process exits; since an exception must never
// leave a finaliser, a failed close there is dropped and the package stays
// incomplete. Close in code to learn of that failure.
using System;

namespace Tessaly.Corvane.DB.ZEL
{
    public sealed class ZELFile : IDisposable
    {
        private readonly FileHandle m_handle;

        private ZELFile(FileHandle handle)
        {
            m_handle = handle;
        }

        ~ZELFile()
        {
            try
            {
                if (!m_handle.IsClosed)
                {
                    // The status is dropped; the failure stays on this
                    // thread as its last error.
                    NativeMethods.zel_host_file_close(m_handle);
                }
            }
            catch (Exception)
            {
                // The handle went first (at process exit the runtime may
                // order finalisers freely); freeing it closed the package.
            }
        }

        /// <summary>Creates the package at filename and registers the two
        /// content libraries in contentLocation. message receives the log;
        /// it is left as it was when an argument is refused.</summary>
        public static ZELFile Create(string filename, string contentLocation, ref string message)
        {
            FileHandle handle;
            IntPtr log;
            Ensure.Success(NativeMethods.zel_host_file_create(filename, contentLocation,
                                                              out handle, out log));
            message = Ensure.Text(log);
            return new ZELFile(handle);
        }

        public ZELBlock AddBlock(string typeTag, string blockName)
        {
            var block = new BlockHandle();
            IntPtr added;
            Ensure.Success(NativeMethods.zel_host_file_add_block(m_handle, typeTag, blockName,
                                                                 out added));
            block.Adopt(added);
            GC.KeepAlive(this);
            return new ZELBlock(block, this);
        }

        public bool BlockExists(string blockName)
        {
            int exists;
            Ensure.Success(NativeMethods.zel_host_file_block_exists(m_handle, blockName,
                                                                    out exists));
            GC.KeepAlive(this);
            return exists != 0;
        }

        /// <summary>Stores the file at path; returns the entry that holds its
        /// bytes, which later links must use.</summary>
        public string AddBinaryData(string hint, string path)
        {
            IntPtr name;
            Ensure.Success(NativeMethods.zel_host_file_add_binary_file(m_handle, hint, path,
                                                                       out name));
            GC.KeepAlive(this);
            return Ensure.Text(name);
        }

        /// <summary>Stores size bytes at data. A null data is the absent box
        /// and fails its check; IntPtr.Zero passes it.</summary>
        public string AddBinaryData(string hint, IntPtr? data, int size)
        {
            IntPtr name;
            Ensure.Success(NativeMethods.zel_host_file_add_binary_boxed(
                m_handle, hint, data.HasValue ? 1 : 0, data.GetValueOrDefault(), size, out name));
            GC.KeepAlive(this);
            return Ensure.Text(name);
        }

        /// <summary>Stores the bytes of an array, with the checks of the
        /// pointer form: "data is null." for a null array,
        /// "size should be above zero." for an empty one.</summary>
        public string AddBinaryData(string hint, byte[] data)
        {
            IntPtr name;
            Ensure.Success(NativeMethods.zel_host_file_add_binary_array(
                m_handle, hint, data == null ? 0 : 1, data, data == null ? 0 : data.Length,
                out name));
            GC.KeepAlive(this);
            return Ensure.Text(name);
        }

        public void CloseFile()
        {
            if (m_handle.IsClosed)
            {
                return;
            }
            Ensure.Success(NativeMethods.zel_host_file_close(m_handle));
            GC.KeepAlive(this);
        }

        public void Dispose()
        {
            try
            {
                CloseFile();
            }
            finally
            {
                m_handle.Dispose();
                GC.SuppressFinalize(this);
            }
        }
    }
}
