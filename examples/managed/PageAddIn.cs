// The export page of a host's rendering add-in, in C#: one ZELFile validated
// against the two content libraries, a small scene that links into each of
// them, and a floor mesh the add-in builds in memory and hands over as an
// array.
//
// usage: mono PageAddIn.exe PACKAGE CONTENT_DIR
//   CONTENT_DIR holds library.zelc and oblis_library.zelc (make run makes both).
using System;
using Tessaly.Corvane.DB.ZEL;

namespace PageAddIn
{
    internal sealed class ExportPage
    {
        // What the page's Export button does.
        public void Export(string package, string contentLocation)
        {
            string log = null;
            using (ZELFile file = ZELFile.Create(package, contentLocation, ref log))
            {
                Console.Write(log);

                // A material of the scene on top of one from the material library.
                ZELBlock cushion = file.AddBlock("material", "cushion");
                cushion.AddLink("base", "linen", "FerraneLibrary");
                cushion.AddBinaryLink("texture", "textures/linen.png", "FerraneLibrary");
                cushion.AddParameter("roughness", 0.6f);

                // Furniture from the mesh library.
                ZELBlock chair = file.AddBlock("instance", "chair");
                chair.AddLink("mesh", "chair", "OblisLibrary");
                chair.AddLinkWithTag("seat", "cushion", "fabric");
                chair.AddParameter("position", "double3", "1 0 2", "m");

                // A floor made in memory.
                ZELBlock floor = file.AddBlock("mesh", "floor");
                string stored = file.AddBinaryData("meshes/floor.bin", FloorGrid(8, 4.0f));
                floor.AddBinaryLink("vertices", stored, null);
                floor.AddLink("material", "cushion");
                Console.WriteLine("meshes/floor.bin is stored as " + stored);

                // Validation at work: the mesh library has no such binary, so
                // the link is refused and taken back. (A refused AddLink stays
                // in the block and arrives as ZelException.)
                try
                {
                    chair.AddBinaryLink("lod1", "meshes/chair_lod1.bin", "OblisLibrary");
                }
                catch (InvalidOperationException e)
                {
                    string why = e.Message;
                    int context = why.IndexOf(" from context of", StringComparison.Ordinal);
                    Console.WriteLine("refused, as it should be: " +
                                      (context < 0 ? why : why.Substring(0, context)));
                }
                // Disposal closes the package; CloseFile would too, and
                // raises if the close fails.
            }
            Console.WriteLine("wrote " + package);
        }

        // An n by n grid of x, y, z floats, as bytes.
        private static byte[] FloorGrid(int n, float size)
        {
            var vertices = new float[(n + 1) * (n + 1) * 3];
            int at = 0;
            for (int i = 0; i <= n; ++i)
            {
                for (int k = 0; k <= n; ++k)
                {
                    vertices[at++] = size * i / n;
                    vertices[at++] = 0.0f;
                    vertices[at++] = size * k / n;
                }
            }
            var bytes = new byte[vertices.Length * sizeof(float)];
            Buffer.BlockCopy(vertices, 0, bytes, 0, bytes.Length);
            return bytes;
        }
    }

    internal static class Program
    {
        private static int Main(string[] arguments)
        {
            if (arguments.Length != 2)
            {
                Console.Error.WriteLine("usage: mono PageAddIn.exe PACKAGE CONTENT_DIR");
                return 2;
            }
            try
            {
                new ExportPage().Export(arguments[0], arguments[1]);
                return 0;
            }
            catch (Exception e)
            {
                Console.Error.WriteLine("PageAddIn: {0}: {1}", e.GetType().Name, e.Message);
                return 1;
            }
        }
    }
}
