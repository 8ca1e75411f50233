// One block of a package, as ZELFile.AddBlock hands it out. It keeps its
// ZELFile reachable, so that the file is not finalised while the host still
// fills one of its blocks; after the file was closed every call fails with
// ObjectDisposedException. Checks and conversions happen in libzel_host.so.
using System;

namespace Tessaly.Corvane.DB.ZEL
{
    public sealed class ZELBlock
    {
        private readonly BlockHandle m_handle;
        private readonly ZELFile m_file;

        internal ZELBlock(BlockHandle handle, ZELFile file)
        {
            m_handle = handle;
            m_file = file;
        }

        public void AddParameter(string paramName, int val)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_int(m_handle, paramName, val));
            GC.KeepAlive(m_file);
        }

        public void AddParameter(string paramName, float val)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_float(m_handle, paramName, val));
            GC.KeepAlive(m_file);
        }

        public void AddParameter(string paramName, string val)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_string(m_handle, paramName, val));
            GC.KeepAlive(m_file);
        }

        public void AddParameter(string paramName, string valType, string val, string unitType)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_typed(m_handle, paramName, valType,
                                                                  val, unitType));
            GC.KeepAlive(m_file);
        }

        /// <summary>A link into this scene: AddLink with no location.</summary>
        public void AddLink(string paramName, string blockName)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_link(m_handle, paramName, blockName,
                                                                 null));
            GC.KeepAlive(m_file);
        }

        /// <summary>A link that stays in the block when validation refuses it;
        /// the failure arrives as ZelException or ZelValidationException.</summary>
        public void AddLink(string paramName, string blockName, string location)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_link(m_handle, paramName, blockName,
                                                                 location ?? string.Empty));
            GC.KeepAlive(m_file);
        }

        public void AddLinkWithTag(string paramName, string blockName, string tagName)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_link_with_tag(m_handle, paramName,
                                                                          blockName, tagName));
            GC.KeepAlive(m_file);
        }

        /// <summary>A link to a binary; a refused one is taken back, with the
        /// untagged parameters of its name, and raised as
        /// InvalidOperationException with the native text.</summary>
        public void AddBinaryLink(string paramName, string binName, string location)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_link(m_handle, paramName,
                                                                        binName, location));
            GC.KeepAlive(m_file);
        }

        public void AddBinaryLinkWithData(string paramName, string pathToData, string binNameHint)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_file(m_handle, paramName,
                                                                        pathToData, binNameHint));
            GC.KeepAlive(m_file);
        }

        /// <summary>A null data is the absent box ("data is empty.");
        /// IntPtr.Zero passes that check.</summary>
        public void AddBinaryLinkWithData(string paramName, string binNameHint, IntPtr? data,
                                          int size)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_boxed(
                m_handle, paramName, binNameHint, data.HasValue ? 1 : 0,
                data.GetValueOrDefault(), size));
            GC.KeepAlive(m_file);
        }

        /// <summary>The bytes of an array, with the checks of the pointer form:
        /// "data is empty." for a null array, "size should be above zero." for
        /// an empty one.</summary>
        public void AddBinaryLinkWithData(string paramName, string binNameHint, byte[] data)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_binary_array(
                m_handle, paramName, binNameHint, data == null ? 0 : 1, data,
                data == null ? 0 : data.Length));
            GC.KeepAlive(m_file);
        }

        public void AddExtraAttribute(string attrName, string attrValue)
        {
            Ensure.Success(NativeMethods.zel_host_block_add_extra_attribute(m_handle, attrName,
                                                                            attrValue));
            GC.KeepAlive(m_file);
        }
    }
}
