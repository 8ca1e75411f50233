// The managed host's tests: argument checks, packages with and without the
// content libraries, native failures and the lifecycle, each package proven
// with the zel tool.
//
// usage: mono ManagedHostTests.exe ZEL_TOOL
//        mono ManagedHostTests.exe --leave-open PACKAGE   (a host that never closes)
using System;

namespace Tessaly.Corvane.DB.ZEL.Tests
{
    internal static class Program
    {
        private static int Main(string[] arguments)
        {
            if (arguments.Length == 2 && arguments[0] == "--leave-open")
            {
                return LifecycleTest.LeaveOpen(arguments[1]);
            }
            if (arguments.Length != 1)
            {
                Console.Error.WriteLine("usage: ManagedHostTests.exe ZEL_TOOL");
                return 2;
            }
            var runner = new TestRunner();
            using (var scratch = new Scratch(arguments[0]))
            {
                ArgumentChecksTest.Run(runner, scratch);
                PackageTest.Run(runner, scratch);
                LifecycleTest.Run(runner, scratch);
            }
            return runner.Finish();
        }
    }
}
