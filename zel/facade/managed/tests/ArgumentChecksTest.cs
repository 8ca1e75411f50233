// Every argument check of ZELFile and ZELBlock: the runtime's own type, the
// text in the place where the one-string constructor puts it, and which check
// wins when several arguments are bad.
using System;
using System.IO;

namespace Tessaly.Corvane.DB.ZEL.Tests
{
    internal static class ArgumentChecksTest
    {
        private sealed class Case
        {
            public string Call;
            public Action Body;
            public Type Thrown;
            public string Text;
        }

        private static Case Null(string call, Action body, string text)
        {
            return new Case { Call = call, Body = body, Thrown = typeof(ArgumentNullException), Text = text };
        }

        private static Case Size(string call, Action body)
        {
            return new Case { Call = call, Body = body, Thrown = typeof(ArgumentException),
                              Text = "size should be above zero." };
        }

        public static void Run(TestRunner runner, Scratch scratch)
        {
            runner.Run("ArgumentChecks.CreateRefusesBeforeAnyStep", () => CreateChecks(scratch));
            runner.Run("ArgumentChecks.EveryCheckOfBothObjects", () => ObjectChecks(scratch));
        }

        private static void CreateChecks(Scratch scratch)
        {
            string package = scratch.Package();
            var cases = new[] {
                new[] { null, null, "Input null zel file location path." },
                new[] { "", scratch.Libraries, "Input null zel file location path." },
                new[] { package, null, "Input null content location path." },
                new[] { package, "", "Input null content location path." },
            };
            foreach (var c in cases)
            {
                string message = "untouched";
                var e = Expect.Throws<ArgumentNullException>(
                    () => ZELFile.Create(c[0], c[1], ref message), "Create");
                Expect.Equal(c[2], e.ParamName, "Create's ParamName");
                Expect.Equal("untouched", message, "Create's message");
            }
            Expect.True(!File.Exists(package), "no package after a refused Create");
        }

        private static void ObjectChecks(Scratch scratch)
        {
            string message = null;
            string package = scratch.Package();
            using (var file = ZELFile.Create(package, scratch.Libraries, ref message))
            {
                ZELBlock b = file.AddBlock("mesh", "plate");
                var cases = new[] {
                    Null("AddBlock", () => file.AddBlock(null, null), "typeTag is empty or null."),
                    Null("AddBlock", () => file.AddBlock("mesh", ""), "blockName is empty or null."),
                    Null("BlockExists", () => file.BlockExists(""), "blockName is empty or null."),
                    Null("AddBinaryData(path)", () => file.AddBinaryData("", (string)null), "hint is empty or null."),
                    Null("AddBinaryData(path)", () => file.AddBinaryData("h", ""), "path is empty or null."),
                    Null("AddBinaryData(data)", () => file.AddBinaryData(null, (IntPtr?)null, 0), "hint is empty or null."),
                    Null("AddBinaryData(data)", () => file.AddBinaryData("h", (IntPtr?)null, 0), "data is null."),
                    Size("AddBinaryData(data)", () => file.AddBinaryData("h", IntPtr.Zero, 0)),
                    Size("AddBinaryData(data)", () => file.AddBinaryData("h", IntPtr.Zero, -1)),
                    Null("AddBinaryData(array)", () => file.AddBinaryData("", (byte[])null), "hint is empty or null."),
                    Null("AddBinaryData(array)", () => file.AddBinaryData("h", (byte[])null), "data is null."),
                    Size("AddBinaryData(array)", () => file.AddBinaryData("h", new byte[0])),
                    Null("AddParameter(int)", () => b.AddParameter(null, 1), "paramName is empty or null."),
                    Null("AddParameter(float)", () => b.AddParameter("", 1.5f), "paramName is empty or null."),
                    Null("AddParameter(string)", () => b.AddParameter(null, (string)null), "paramName is empty or null."),
                    Null("AddParameter(string)", () => b.AddParameter("p", ""), "val is empty or null."),
                    Null("AddParameter(typed)", () => b.AddParameter("", null, null, null), "paramName is empty or null."),
                    Null("AddParameter(typed)", () => b.AddParameter("p", "", null, "m"), "valType or val can not be both empty or null."),
                    Null("AddLink", () => b.AddLink("", null), "paramName is empty or null."),
                    Null("AddLink", () => b.AddLink("p", ""), "blockName is empty or null."),
                    Null("AddLink", () => b.AddLink("p", null, "OblisLibrary"), "blockName is empty or null."),
                    Null("AddLinkWithTag", () => b.AddLinkWithTag(null, "b", ""), "paramName is empty or null."),
                    Null("AddLinkWithTag", () => b.AddLinkWithTag("p", "b", ""), "tagName is empty or null."),
                    Null("AddBinaryLink", () => b.AddBinaryLink("", "", null), "paramName is empty or null."),
                    Null("AddBinaryLink", () => b.AddBinaryLink("p", null, "OblisLibrary"), "binName is empty or null."),
                    Null("AddBinaryLinkWithData(path)", () => b.AddBinaryLinkWithData("", "", ""), "paramName is empty or null."),
                    Null("AddBinaryLinkWithData(path)", () => b.AddBinaryLinkWithData("p", null, "h"), "pathToData is empty or null."),
                    Null("AddBinaryLinkWithData(data)", () => b.AddBinaryLinkWithData(null, null, (IntPtr?)null, 0), "paramName is empty or null."),
                    Null("AddBinaryLinkWithData(data)", () => b.AddBinaryLinkWithData("p", "", (IntPtr?)null, 0), "binNameHint is empty or null."),
                    Null("AddBinaryLinkWithData(data)", () => b.AddBinaryLinkWithData("p", "h", (IntPtr?)null, 0), "data is empty."),
                    Size("AddBinaryLinkWithData(data)", () => b.AddBinaryLinkWithData("p", "h", IntPtr.Zero, 0)),
                    Null("AddBinaryLinkWithData(array)", () => b.AddBinaryLinkWithData("p", "", (byte[])null), "binNameHint is empty or null."),
                    Null("AddBinaryLinkWithData(array)", () => b.AddBinaryLinkWithData("p", "h", (byte[])null), "data is empty."),
                    Size("AddBinaryLinkWithData(array)", () => b.AddBinaryLinkWithData("p", "h", new byte[0])),
                    Null("AddExtraAttribute", () => b.AddExtraAttribute("", null), "attrName is empty or null."),
                    Null("AddExtraAttribute", () => b.AddExtraAttribute("a", null), "attrValue is empty or null."),
                };
                foreach (var c in cases)
                {
                    Exception thrown = null;
                    try
                    {
                        c.Body();
                    }
                    catch (Exception e)
                    {
                        thrown = e;
                    }
                    Expect.True(thrown != null, c.Call + " raised nothing for " + c.Text);
                    Expect.Equal(c.Thrown, thrown.GetType(), c.Call + " " + c.Text);
                    Expect.Equal(c.Text, Expect.HostText(thrown), c.Call);
                }
            }
            // Nothing of the refused calls reached the package.
            Ran scene = scratch.Zel("scene", package);
            Expect.True(scene.Status == 0 && scene.Output.Contains("name=\"plate\"") &&
                        !scene.Output.Contains("<p ") && !scene.Output.Contains("<a "),
                        "refused calls left no parameter: " + scene.Output);
            Ran listed = scratch.Zel("ls", package);
            Expect.True(listed.Output.Contains("\n1 entries,") || listed.Output.Contains("\n1 entry,"),
                        "refused calls left no binary: " + listed.Output);
        }
    }
}
