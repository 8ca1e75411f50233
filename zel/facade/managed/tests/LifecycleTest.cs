// A package is completed whichever way the host lets go of its ZELFile:
// Dispose, CloseFile twice, the finaliser at a collection, the finaliser at
// process exit; and a block of a closed file refuses to be used.
using System;
using System.Diagnostics;
using System.Reflection;
using System.Runtime.CompilerServices;

namespace Tessaly.Corvane.DB.ZEL.Tests
{
    internal static class LifecycleTest
    {
        public static void Run(TestRunner runner, Scratch scratch)
        {
            runner.Run("Lifecycle.DisposeCompletes", () => {
                string package = scratch.Package();
                string message = null;
                var file = ZELFile.Create(package, scratch.Libraries, ref message);
                ZELBlock b = file.AddBlock("light", "lamp");
                file.Dispose();
                file.Dispose();
                file.CloseFile();
                scratch.ExpectComplete(package);
                var e = Expect.Throws<ObjectDisposedException>(() => b.AddParameter("late", 1), "a dead block");
                Expect.Equal("ZELBlock", e.ObjectName, "its object name");
            });
            runner.Run("Lifecycle.CloseFileTwiceCompletes", () => {
                string package = scratch.Package();
                string message = null;
                var file = ZELFile.Create(package, scratch.Libraries, ref message);
                file.AddBlock("light", "lamp").AddParameter("gain", 2);
                file.CloseFile();
                file.CloseFile();
                scratch.ExpectComplete(package);
                file.Dispose();
            });
            runner.Run("Lifecycle.FinaliserCompletesAtACollection", () => {
                string package = scratch.Package();
                Abandon(package, scratch.Libraries);
                GC.Collect();
                GC.WaitForPendingFinalizers();
                GC.Collect();
                GC.WaitForPendingFinalizers();
                scratch.ExpectComplete(package);
                Ran listed = scratch.Zel("scene", package);
                Expect.True(listed.Output.Contains("lamp"), "the abandoned block: " + listed.Output);
            });
            runner.Run("Lifecycle.FinaliserCompletesAtExit", () => {
                string package = scratch.Package();
                string self = Assembly.GetExecutingAssembly().Location;
                Ran ran = Ran.Program("mono", self, "--leave-open", package);
                Expect.Equal(0, ran.Status, "the host that never closes: " + ran.Output);
                scratch.ExpectComplete(package);
                Ran listed = scratch.Zel("scene", package);
                Expect.True(listed.Output.Contains("lamp"), "the abandoned block: " + listed.Output);
                Expect.Equal(0, scratch.Check(package).Status, "zel check");
            });
        }

        [MethodImpl(MethodImplOptions.NoInlining)]
        private static void Abandon(string package, string libraries)
        {
            string message = null;
            ZELFile file = ZELFile.Create(package, libraries, ref message);
            file.AddBlock("light", "lamp").AddLink("seat", "chair", "OblisLibrary");
        }

        // A host that forgets its package and exits.
        public static int LeaveOpen(string package)
        {
            Abandon(package, System.IO.Path.Combine(System.IO.Path.GetDirectoryName(package), "content"));
            return 0;
        }
    }
}
