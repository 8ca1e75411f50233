// The C interface of libzel_host.so (zel/facade/zel_host.h), declared and
// nothing else. Strings go as NUL-terminated UTF-16 borrowed for the call, a
// null string as a null pointer; strings that come back are pointers into
// the library, valid until the thread's next call that returns one, and are
// copied at once (Marshal.PtrToStringUni). File calls take the FileHandle,
// which the marshaller holds for the call; block calls take the raw pointer of
// a BlockHandle that its ZELBlock keeps reachable (see ZELBlock).
using System;
using System.Runtime.InteropServices;
using System.Security;

namespace Tessaly.Corvane.DB.ZEL
{
    [SuppressUnmanagedCodeSecurity]
    internal static class NativeMethods
    {
        // Found through the dllmap beside the assembly, or on the library path.
        private const string Library = "zel_host";

        internal const int Ok = 0;
        internal const int HostException = 1;
        internal const int NativeException = 2;

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_file_create(
            [MarshalAs(UnmanagedType.LPWStr)] string filename,
            [MarshalAs(UnmanagedType.LPWStr)] string contentLocation,
            out FileHandle file, out IntPtr message);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_file_add_block(FileHandle file,
            [MarshalAs(UnmanagedType.LPWStr)] string typeTag,
            [MarshalAs(UnmanagedType.LPWStr)] string blockName, out IntPtr block);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_file_block_exists(FileHandle file,
            [MarshalAs(UnmanagedType.LPWStr)] string blockName, out int exists);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_file_add_binary_file(FileHandle file,
            [MarshalAs(UnmanagedType.LPWStr)] string hint,
            [MarshalAs(UnmanagedType.LPWStr)] string path, out IntPtr name);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_file_add_binary_boxed(FileHandle file,
            [MarshalAs(UnmanagedType.LPWStr)] string hint, int present, IntPtr data, int size,
            out IntPtr name);

        // The same entry point for an array, pinned for the call.
        [DllImport(Library, CharSet = CharSet.Unicode, EntryPoint = "zel_host_file_add_binary_boxed")]
        internal static extern int zel_host_file_add_binary_array(FileHandle file,
            [MarshalAs(UnmanagedType.LPWStr)] string hint, int present, byte[] data, int size,
            out IntPtr name);

        [DllImport(Library)]
        internal static extern int zel_host_file_close(FileHandle file);

        [DllImport(Library)]
        internal static extern void zel_host_file_free(IntPtr file);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_int(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName, int val);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_float(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName, float val);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_string(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string val);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_typed(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string valType,
            [MarshalAs(UnmanagedType.LPWStr)] string val,
            [MarshalAs(UnmanagedType.LPWStr)] string unitType);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_link(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string blockName,
            [MarshalAs(UnmanagedType.LPWStr)] string location);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_link_with_tag(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string blockName,
            [MarshalAs(UnmanagedType.LPWStr)] string tagName);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_binary_link(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string binName,
            [MarshalAs(UnmanagedType.LPWStr)] string location);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_binary_file(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string pathToData,
            [MarshalAs(UnmanagedType.LPWStr)] string binNameHint);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_binary_boxed(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string binNameHint, int present, IntPtr data,
            int size);

        [DllImport(Library, CharSet = CharSet.Unicode, EntryPoint = "zel_host_block_add_binary_boxed")]
        internal static extern int zel_host_block_add_binary_array(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string paramName,
            [MarshalAs(UnmanagedType.LPWStr)] string binNameHint, int present, byte[] data,
            int size);

        [DllImport(Library, CharSet = CharSet.Unicode)]
        internal static extern int zel_host_block_add_extra_attribute(IntPtr block,
            [MarshalAs(UnmanagedType.LPWStr)] string attrName,
            [MarshalAs(UnmanagedType.LPWStr)] string attrValue);

        [DllImport(Library)]
        internal static extern void zel_host_block_free(IntPtr block);

        [DllImport(Library)]
        internal static extern IntPtr zel_host_last_error_type();

        [DllImport(Library)]
        internal static extern IntPtr zel_host_last_error_text();
    }
}
