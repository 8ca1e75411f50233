// A scratch directory with the two content libraries, written through the
// assembly and described by their contents files, and the zel tool to look
// into packages.
using System;
using System.IO;

namespace Tessaly.Corvane.DB.ZEL.Tests
{
    internal sealed class Scratch : IDisposable
    {
        public readonly string Directory;
        public readonly string Libraries;
        public readonly string OnlyFirstLibrary;
        public readonly string NoLibraries;
        private readonly string m_zel;
        private int m_packages;

        public Scratch(string zel)
        {
            m_zel = zel;
            Directory = Path.Combine(Path.GetTempPath(), "zel-managed-" + Guid.NewGuid().ToString("N"));
            Libraries = Path.Combine(Directory, "content");
            OnlyFirstLibrary = Path.Combine(Directory, "first");
            NoLibraries = Path.Combine(Directory, "none");
            System.IO.Directory.CreateDirectory(Libraries);
            System.IO.Directory.CreateDirectory(OnlyFirstLibrary);
            MakeLibrary("ferrane.zel", "library.zelc", "material", "oak", "textures/oak.png");
            MakeLibrary("oblis.zel", "oblis_library.zelc", "mesh", "chair", "meshes/chair.bin");
            File.Copy(Path.Combine(Libraries, "library.zelc"),
                      Path.Combine(OnlyFirstLibrary, "library.zelc"));
        }

        public void Dispose()
        {
            System.IO.Directory.Delete(Directory, true);
        }

        // A fresh package path.
        public string Package()
        {
            return Path.Combine(Directory, "package" + (++m_packages) + ".zel");
        }

        public string Write(string name, byte[] bytes)
        {
            string path = Path.Combine(Directory, name);
            File.WriteAllBytes(path, bytes);
            return path;
        }

        public Ran Zel(params string[] arguments)
        {
            return Ran.Program(m_zel, arguments);
        }

        // zel check against the two contents files.
        public Ran Check(string package)
        {
            return Zel("check", package,
                       "--library", "FerraneLibrary=" + Path.Combine(Libraries, "library.zelc"),
                       "--library", "OblisLibrary=" + Path.Combine(Libraries, "oblis_library.zelc"));
        }

        public void ExpectComplete(string package)
        {
            Ran verified = Zel("verify", package);
            Expect.Equal(0, verified.Status, "zel verify " + package + ": " + verified.Output);
        }

        private void MakeLibrary(string package, string contents, string typeTag, string block,
                                 string binary)
        {
            string path = Path.Combine(Directory, package);
            string message = null;
            using (var file = ZELFile.Create(path, NoLibraries, ref message))
            {
                file.AddBlock(typeTag, block).AddParameter("note", "from " + package);
                file.AddBinaryData(binary, System.Text.Encoding.ASCII.GetBytes("bytes of " + binary));
            }
            Ran made = Zel("contents", path, Path.Combine(Libraries, contents));
            Expect.Equal(0, made.Status, "zel contents: " + made.Output);
        }
    }
}
