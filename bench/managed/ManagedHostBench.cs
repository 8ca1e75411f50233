// The managed half of host_bench: the scene of host_bench.cpp written through
// Tessaly.Corvane.DB.ZEL.dll, and the cost of an empty call into native code.
// Prints one line for host_bench to read:
//   add_seconds close_seconds empty_call_ns
//
// usage: mono ManagedHostBench.exe PACKAGE BLOCKS
using System;
using System.Diagnostics;
using System.Globalization;
using System.IO;
using System.Runtime.InteropServices;
using Tessaly.Corvane.DB.ZEL;

internal static class ManagedHostBench
{
    // The cheapest call of the C interface: no argument, no handle, no text.
    // Found on LD_LIBRARY_PATH, which host_bench sets.
    [DllImport("zel_host")]
    private static extern int zel_host_last_error_status();

    private static int Main(string[] arguments)
    {
        string package = arguments[0];
        int blocks = int.Parse(arguments[1], CultureInfo.InvariantCulture);
        var names = new string[10];
        for (int p = 0; p < names.Length; ++p)
        {
            names[p] = "param" + p;
        }
        string message = null;
        string none = Path.Combine(Path.GetDirectoryName(Path.GetFullPath(package)), "no-libraries");
        ZELFile file = ZELFile.Create(package, none, ref message);
        var clock = Stopwatch.StartNew();
        for (int i = 0; i < blocks; ++i)
        {
            ZELBlock block = file.AddBlock("mesh", "block" + i);
            for (int p = 0; p < 4; ++p)
            {
                block.AddParameter(names[p], i + p);
            }
            for (int p = 4; p < 7; ++p)
            {
                block.AddParameter(names[p], 0.25f * p);
            }
            for (int p = 7; p < 10; ++p)
            {
                block.AddParameter(names[p], "value");
            }
        }
        double add = clock.Elapsed.TotalSeconds;
        clock.Restart();
        file.Dispose();
        double close = clock.Elapsed.TotalSeconds;

        const int calls = 10000000;
        zel_host_last_error_status();
        clock.Restart();
        for (int i = 0; i < calls; ++i)
        {
            zel_host_last_error_status();
        }
        double empty = clock.Elapsed.TotalSeconds * 1e9 / calls;
        Console.WriteLine(string.Format(CultureInfo.InvariantCulture, "{0:R} {1:R} {2:R}", add,
                                        close, empty));
        return 0;
    }
}
