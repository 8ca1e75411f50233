// Packages written through the assembly: the log of Create, validation on and
// off, the retry of a binary from memory, what a refused link leaves behind,
// native failures as their managed types, and zel check of the result.
using System;
using System.IO;
using System.Text;

namespace Tessaly.Corvane.DB.ZEL.Tests
{
    internal static class PackageTest
    {
        private const string Failed = "Failed to library.zelc or oblis_library.zelc from : ";

        public static void Run(TestRunner runner, Scratch scratch)
        {
            runner.Run("Package.CreateLogsEachOutcome", () => CreateLog(scratch));
            runner.Run("Package.ValidationOnlyWithBothLibraries", () => Validation(scratch));
            runner.Run("Package.BinaryFromAPathIsRetriedFromMemory", () => Retry(scratch));
            runner.Run("Package.RefusedLinksAndNativeFailures", () => Refused(scratch));
            runner.Run("Package.SceneLinkingIntoBothLibrariesChecks", () => Scene(scratch));
        }

        private static void CreateLog(Scratch scratch)
        {
            var cases = new[] {
                new[] { scratch.NoLibraries, "Loading library.zelc from : " },
                new[] { scratch.OnlyFirstLibrary, "Loading oblis_library.zelc from : " },
            };
            foreach (var c in cases)
            {
                string message = "earlier text";
                using (ZELFile.Create(scratch.Package(), c[0], ref message)) { }
                string nl = Environment.NewLine;
                Expect.Equal(c[1] + c[0] + nl + Failed + c[0] + nl, message, "log from " + c[0]);
            }
            string loaded = null;
            using (ZELFile.Create(scratch.Package(), scratch.Libraries, ref loaded)) { }
            Expect.Equal("Loading oblis_library.zelc from : " + scratch.Libraries + Environment.NewLine,
                         loaded, "log with both libraries");
        }

        private static void Validation(Scratch scratch)
        {
            // With only the first library validation is off: nothing is proven.
            string message = null;
            using (var file = ZELFile.Create(scratch.Package(), scratch.OnlyFirstLibrary, ref message))
            {
                ZELBlock b = file.AddBlock("mesh", "plate");
                b.AddLink("base", "walnut", "FerraneLibrary");
                b.AddBinaryLink("shape", "meshes/table.bin", "OblisLibrary");
            }
            using (var file = ZELFile.Create(scratch.Package(), scratch.Libraries, ref message))
            {
                ZELBlock b = file.AddBlock("mesh", "plate");
                b.AddLink("base", "oak", "FerraneLibrary");
                b.AddBinaryLink("shape", "meshes/chair.bin", "OblisLibrary");
                Expect.Throws<ZelException>(() => b.AddLink("veneer", "walnut", "FerraneLibrary"),
                                            "a link validation refuses");
            }
        }

        private static void Retry(Scratch scratch)
        {
            string message = null;
            string package = scratch.Package();
            using (var file = ZELFile.Create(package, scratch.Libraries, ref message))
            {
                string first = scratch.Write("first.bin", Encoding.ASCII.GetBytes("first bytes"));
                string second = scratch.Write("second.bin", Encoding.ASCII.GetBytes("other bytes"));
                Expect.Equal("taken.bin", file.AddBinaryData("taken.bin", first), "stored from a path");
                var missing = Expect.Throws<InvalidOperationException>(
                    () => file.AddBinaryData("missing.bin", Path.Combine(scratch.Directory, "missing.bin")),
                    "a missing file");
                Expect.Equal("Add binary data failed.", missing.Message, "a missing file");
                var taken = Expect.Throws<ZelArchiveException>(
                    () => file.AddBinaryData("taken.bin", second), "a taken name");
                Expect.True(taken.Message.StartsWith(
                    "zel_archive exception: Can't add entry with name \"taken.bin\": entry already exists"),
                    "the second attempt's error: " + taken.Message);
                Expect.Equal("vorn::zela::zel_archive_exception", taken.NativeType, "its native type");
                // Equal bytes answer with the earlier entry's name.
                Expect.Equal("taken.bin", file.AddBinaryData("copy.bin", Encoding.ASCII.GetBytes("first bytes")),
                             "equal bytes stored once");
            }
            Ran listed = scratch.Zel("ls", package);
            Expect.True(listed.Output.Contains("taken.bin") && !listed.Output.Contains("missing.bin") &&
                        !listed.Output.Contains("copy.bin"), "entries: " + listed.Output);
        }

        private static void Refused(Scratch scratch)
        {
            string message = null;
            string package = scratch.Package();
            using (var file = ZELFile.Create(package, scratch.Libraries, ref message))
            {
                ZELBlock b = file.AddBlock("mesh", "plate");
                b.AddLinkWithTag("shape", "plate", "front");
                b.AddParameter("shape", "untagged earlier");
                var binary = Expect.Throws<InvalidOperationException>(
                    () => b.AddBinaryLink("shape", "meshes/table.bin", "OblisLibrary"), "AddBinaryLink");
                Expect.True(binary.Message.StartsWith(
                    "zel exception: failed validation: contents for library name \"OblisLibrary\" " +
                    "could not find a binary named meshes/table.bin"), "its text: " + binary.Message);

                var link = Expect.Throws<ZelException>(
                    () => b.AddLink("veneer", "walnut", "FerraneLibrary"), "AddLink");
                Expect.True(link.Message.StartsWith(
                    "zel exception: contents for library name \"FerraneLibrary\" could not find a block named walnut"),
                    "its text: " + link.Message);
                Expect.Equal("vorn::zel::zel_exception", link.NativeType, "its native type");

                var name = Expect.Throws<NativeInvalidArgumentException>(() => file.AddBlock("a b", "x"), "a bad name");
                Expect.Equal("\"a b\" isn't a valid xml/zel name (no spaces allowed)", name.Message, "its text");
                Expect.Equal("std::invalid_argument", name.NativeType, "its native type");
                // A failed link and a failed write are told apart by type.
                Expect.True(!((Exception)link is ZelArchiveException) && link is VornException,
                            "the family's shape");
                var twice = Expect.Throws<ZelException>(() => file.AddBlock("mesh", "plate"), "a block twice");
                Expect.True(twice.Message.StartsWith("zel exception: Block named plate already exists"),
                            "its text: " + twice.Message);
            }
            Ran scene = scratch.Zel("scene", package);
            Expect.True(!scene.Output.Contains("untagged earlier") && scene.Output.Contains("front") &&
                        scene.Output.Contains("walnut") && !scene.Output.Contains("table.bin"),
                        "the block keeps the tagged parameter and the failed link: " + scene.Output);
            Ran check = scratch.Check(package);
            Expect.Equal(1, check.Status, "zel check finds the failed link: " + check.Output);
            Expect.True(check.Output.Contains("walnut"), "zel check names it: " + check.Output);
        }

        private static void Scene(Scratch scratch)
        {
            string message = null;
            string package = scratch.Package();
            string texture = scratch.Write("checker.png", Encoding.ASCII.GetBytes("\u0089PNG checker"));
            using (var file = ZELFile.Create(package, scratch.Libraries, ref message))
            {
                ZELBlock plate = file.AddBlock("material", "plate");
                plate.AddParameter("count", 3);
                plate.AddParameter("gain", 1.5f);
                plate.AddParameter("label", "plain");
                plate.AddParameter("speed", "double", "2.5", "m/s");
                plate.AddParameter("note", null, "1", null);
                plate.AddExtraAttribute("layer", "top");
                plate.AddLink("lamp", "lamp");
                plate.AddLinkWithTag("self", "plate", "front");
                plate.AddLink("base", "oak", "FerraneLibrary");
                plate.AddBinaryLink("texture", "textures/oak.png", "FerraneLibrary");
                ZELBlock lamp = file.AddBlock("light", "lamp");
                lamp.AddLink("seat", "chair", "OblisLibrary");
                lamp.AddBinaryLink("shape", "meshes/chair.bin", "OblisLibrary");
                lamp.AddBinaryLinkWithData("profile", "ies/lamp.ies", new byte[] { 1, 2, 3, 4 });
                Expect.Equal("textures/checker.png", file.AddBinaryData("textures/checker.png", texture),
                             "from a path");
                // Equal bytes answer with the entry that holds them.
                Expect.Equal("textures/checker.png", file.AddBinaryData("textures/copy.png",
                             File.ReadAllBytes(texture)), "from an array");
                lamp.AddBinaryLinkWithData("cookie", texture, (string)null);
                lamp.AddBinaryLink("pattern", "textures/checker.png", null);
                // Host text is UTF-16 and reaches the package in the thread's
                // character set (UTF-8 here) and back.
                Expect.Equal("caf\u00e9.bin", file.AddBinaryData("caf\u00e9.bin", new byte[] { 9 }),
                             "a name out of ASCII");
                Expect.True(file.BlockExists("lamp") && !file.BlockExists("chair"), "BlockExists");
            }
            Ran check = scratch.Check(package);
            Expect.Equal(0, check.Status, "zel check: " + check.Output);
            scratch.ExpectComplete(package);
        }
    }
}
