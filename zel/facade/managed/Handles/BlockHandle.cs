// One zel_host_block, freed exactly once by the runtime. It may be freed
// before or after its file; once the file is closed every call on it fails
// with ObjectDisposedException.
using System;
using Microsoft.Win32.SafeHandles;

namespace Tessaly.Corvane.DB.ZEL
{
    internal sealed class BlockHandle : SafeHandleZeroOrMinusOneIsInvalid
    {
        private BlockHandle() : base(true) { }

        protected override bool ReleaseHandle()
        {
            NativeMethods.zel_host_block_free(handle);
            return true;
        }
    }
}
