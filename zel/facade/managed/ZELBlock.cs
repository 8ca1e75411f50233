// One block of a package, as ZELFile.AddBlock hands it out. It keeps its
// ZELFile reachable (m_file), so that the file is not finalised while the host
// still fills one of its blocks; after the file was closed every call fails with
// ObjectDisposedException. Checks and conversions happen in libzel_host.so.
using System;

namespace Tessaly.Corvane.DB.ZEL
{
    public sealed class ZELBlock
    {
        private readonly BlockHandle m_handle;
        // Held, never read: it keeps the file reachable.
#pragma warning disable 414
        private readonly ZELFile m_file;
#pragma warning restore 414

        internal ZELBlock(BlockHandle handle, ZELFile file)
        {
            m_handle = handle;
            m_file = file;
        }

        // The native block for one call. Its handle is private and has no
        // Dispose, so only its finaliser frees it, and that cannot run while
        // this object is reachable: every call ends with GC.KeepAlive(this).
        // This spares the hot path the reference count that marshalling a
        // SafeHandle takes on every call, about a tenth of a parameter's cost.
        private IntPtr Native
        {
            get { return m_handle.DangerousGetHandle(); }
        }

        public void AddParameter(string paramName, int val)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_int(Native, paramName, val));
            GC.KeepAlive(this);
        }

        public void AddParameter(string paramName, float val)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_float(Native, paramName, val));
            GC.KeepAlive(this);
        }

        public void AddParameter(string paramName, string val)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_string(Native, paramName, val));
            GC.KeepAlive(this);
        }

        public void AddParameter(string paramName, string valType, string val, string unitType)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_typed(Native, paramName, valType,
                                                                  val, unitType));
            GC.KeepAlive(this);
        }

        /// <summary>A link into this scene: AddLink with no location.</summary>
        public void AddLink(string paramName, string blockName)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_link(Native, paramName, blockName,
                                                                 null));
            GC.KeepAlive(this);
        }

        /// <summary>A link that stays in the block when validation refuses it;
        /// the failure arrives as ZelException or ZelValidationException.</summary>
        public void AddLink(string paramName, string blockName, string location)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_link(Native, paramName, blockName,
                                                                 location ?? string.Empty));
            GC.KeepAlive(this);
        }

        public void AddLinkWithTag(string paramName, string blockName, string tagName)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_link_with_tag(Native, paramName,
                                                                          blockName, tagName));
            GC.KeepAlive(this);
        }

        /// <summary>A link to a binary; a refused one is taken back, with the
        /// untagged parameters of its name, and raised as
        /// InvalidOperationException with the native text.</summary>
        public void AddBinaryLink(string paramName, string binName, string location)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_link(Native, paramName,
                                                                        binName, location));
            GC.KeepAlive(this);
        }

        public void AddBinaryLinkWithData(string paramName, string pathToData, string binNameHint)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_file(Native, paramName,
                                                                        pathToData, binNameHint));
            GC.KeepAlive(this);
        }

        /// <summary>A null data is the absent box ("data is empty.");
        /// IntPtr.Zero passes that check.</summary>
        public void AddBinaryLinkWithData(string paramName, string binNameHint, IntPtr? data,
                                          int size)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_boxed(
                Native, paramName, binNameHint, data.HasValue ? 1 : 0,
                data.GetValueOrDefault(), size));
            GC.KeepAlive(this);
        }

        /// <summary>The bytes of an array, with the checks of the pointer form:
        /// "data is empty." for a null array, "size should be above zero." for
        /// an empty one.</summary>
        public void AddBinaryLinkWithData(string paramName, string binNameHint, byte[] data)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_array(
                Native, paramName, binNameHint, data == null ? 0 : 1, data,
                data == null ? 0 : data.Length));
            GC.KeepAlive(this);
        }

        public void AddExtraAttribute(string attrName, string attrValue)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_extra_attribute(Native, attrName,
                                                                            attrValue));
            GC.KeepAlive(this);
        }
    }
}
