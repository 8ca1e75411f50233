// The one place where a status of the C interface becomes a managed
// exception. The failure's type name and text are read back on the calling
// thread, where the C interface keeps them (a finaliser's thread has its own).
using System;
using System.Runtime.InteropServices;

namespace Tessaly.Corvane.DB.ZEL
{
    internal static class Ensure
    {
        // Small enough to be inlined into every call; the raising is apart.
        internal static void Success(int status)
        {
            if (status != NativeMethods.Ok)
            {
                Raise(status);
            }
        }

        private static void Raise(int status)
        {
            throw Failure(status);
        }

        private static Exception Failure(int status)
        {
            string type = Marshal.PtrToStringUni(NativeMethods.zel_host_last_error_type());
            string text = Marshal.PtrToStringUni(NativeMethods.zel_host_last_error_text());
            return status == NativeMethods.HostException ? Host(type, text) : Native(type, text);
        }

        // The runtime's own types, each through its one-string constructor,
        // so that ArgumentNullException and ArgumentOutOfRangeException carry
        // the text as their ParamName.
        private static Exception Host(string type, string text)
        {
            switch (type)
            {
                case "System.ArgumentNullException": return new ArgumentNullException(text);
                case "System.ArgumentOutOfRangeException": return new ArgumentOutOfRangeException(text);
                case "System.ArgumentException": return new ArgumentException(text);
                case "System.ObjectDisposedException": return new ObjectDisposedException(text);
                case "System.InvalidOperationException": return new InvalidOperationException(text);
                case "System.InsufficientMemoryException": return new InsufficientMemoryException(text);
                case "System.OutOfMemoryException": return new OutOfMemoryException(text);
                default: return new InvalidOperationException(text);
            }
        }

        private static Exception Native(string type, string text)
        {
            switch (type)
            {
                case "vorn::zel::zel_validation_exception": return new ZelValidationException(text);
                case "vorn::zel::zel_exception": return new ZelException(text);
                case "vorn::zela::zel_archive_exception": return new ZelArchiveException(text);
                case "vorn::system::mmap::mmap_error": return new MmapException(text);
                case "vorn::zlib_runtime_exception": return new ZlibRuntimeException(text);
                case "vorn::vorn_exception": return new VornException(text);
                case "std::invalid_argument": return new NativeInvalidArgumentException(text);
                case "std::bad_alloc": return new NativeOutOfMemoryException(text);
                default: return new NativeException(text);
            }
        }

        // A string the C interface returned, copied before the next call.
        internal static string Text(IntPtr text)
        {
            return Marshal.PtrToStringUni(text);
        }
    }
}
