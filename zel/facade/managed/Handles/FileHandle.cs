// One zel_host_file: the runtime keeps it alive for the length of every call
// that takes it and frees it exactly once, on Dispose or, failing that, in its
// critical finaliser, which runs after ZELFile's own. Freeing closes a package
// that nobody closed and drops the close's failure.
using System;
using Microsoft.Win32.SafeHandles;

namespace Tessaly.Corvane.DB.ZEL
{
    internal sealed class FileHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        private FileHandle() : base(true) { }

        protected override bool ReleaseHandle()
        {
            NativeMethods.zel_host_file_free(handle);
            return true;
        }
    }
}
