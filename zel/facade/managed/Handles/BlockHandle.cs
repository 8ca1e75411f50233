// One zel_host_block, freed exactly once by the runtime. It may be freed
// before or after its file; once the file is closed every call on it fails
// with ObjectDisposedException.
using System;
using Microsoft.Win32.SafeHandles;

namespace Tessaly.Corvane.DB.ZEL
{
    internal sealed class BlockHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        internal BlockHandle() : base(true) { }

        // Takes ownership of a block that zel_host_file_add_block made. The
        // handle exists before the call, so nothing can fail between the
        // call's return and the adoption; made this way rather than by the
        // marshaller, which builds an out SafeHandle through a reflective
        // constructor call that costs more than the rest of AddBlock.
        internal void Adopt(IntPtr block)
        {
            SetHandle(block);
        }

        protected override bool ReleaseHandle()
        {
            NativeMethods.zel_host_block_free(handle);
            return true;
        }
    }
}
