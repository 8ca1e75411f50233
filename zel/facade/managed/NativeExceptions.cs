// Failures of the native layers, one managed type per native type, so that a
// host can catch a failed link (ZelException) apart from a failed write
// (ZelArchiveException). Message is the native what() text unchanged;
// NativeType names the native class. The tree follows the native one:
// std::exception at the root, the vorn family below it.
using System;

namespace Tessaly.Corvane.DB.ZEL
{
    /// <summary>A native failure; raised as such for an std::exception of no
    /// better-known type.</summary>
    public class NativeException : Exception
    {
        private readonly string m_native_type;

        internal NativeException(string message) : this(message, "std::exception") { }

        internal NativeException(string message, string nativeType) : base(message)
        {
            m_native_type = nativeType;
        }

        /// <summary>The native class, as "vorn::zel::zel_validation_exception".</summary>
        public string NativeType { get { return m_native_type; } }
    }

    /// <summary>std::invalid_argument, from the name rules.</summary>
    public class NativeInvalidArgumentException : NativeException
    {
        internal NativeInvalidArgumentException(string message)
            : base(message, "std::invalid_argument") { }
    }

    /// <summary>std::bad_alloc: the native side ran out of memory.</summary>
    public class NativeOutOfMemoryException : NativeException
    {
        internal NativeOutOfMemoryException(string message) : base(message, "std::bad_alloc") { }
    }

    /// <summary>vorn::vorn_exception, the root of the library's own failures.</summary>
    public class VornException : NativeException
    {
        internal VornException(string message) : this(message, "vorn::vorn_exception") { }

        internal VornException(string message, string nativeType) : base(message, nativeType) { }
    }

    /// <summary>vorn::zel::zel_exception: the package writer, its blocks and
    /// the content libraries.</summary>
    public class ZelException : VornException
    {
        internal ZelException(string message) : this(message, "vorn::zel::zel_exception") { }

        internal ZelException(string message, string nativeType) : base(message, nativeType) { }
    }

    /// <summary>vorn::zel::zel_validation_exception: a link that a content
    /// library cannot prove.</summary>
    public class ZelValidationException : ZelException
    {
        internal ZelValidationException(string message)
            : base(message, "vorn::zel::zel_validation_exception") { }
    }

    /// <summary>vorn::zela::zel_archive_exception: the archive file itself.</summary>
    public class ZelArchiveException : VornException
    {
        internal ZelArchiveException(string message)
            : base(message, "vorn::zela::zel_archive_exception") { }
    }

    /// <summary>vorn::system::mmap::mmap_error: mapping a file.</summary>
    public class MmapException : VornException
    {
        internal MmapException(string message)
            : base(message, "vorn::system::mmap::mmap_error") { }
    }

    /// <summary>vorn::zlib_runtime_exception: a compression stream.</summary>
    public class ZlibRuntimeException : VornException
    {
        internal ZlibRuntimeException(string message)
            : base(message, "vorn::zlib_runtime_exception") { }
    }
}
