// A plain test runner: named checks, each a body that throws on failure; a
// count at the end ("N passed, N failed") and a non-zero exit on failure.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;

namespace Tessaly.Corvane.DB.ZEL.Tests
{
    internal sealed class TestFailure : Exception
    {
        public TestFailure(string message) : base(message) { }
    }

    internal static class Expect
    {
        public static void Equal<T>(T expected, T actual, string what)
        {
            if (!EqualityComparer<T>.Default.Equals(expected, actual))
            {
                throw new TestFailure(string.Format("{0}: expected <{1}>, got <{2}>", what,
                                                    expected, actual));
            }
        }

        public static void True(bool condition, string what)
        {
            if (!condition)
            {
                throw new TestFailure(what);
            }
        }

        // The exception of exactly type T that body raises.
        public static T Throws<T>(Action body, string what) where T : Exception
        {
            try
            {
                body();
            }
            catch (Exception e)
            {
                if (e.GetType() == typeof(T))
                {
                    return (T)e;
                }
                throw new TestFailure(string.Format("{0}: expected {1}, got {2}: {3}", what,
                                                    typeof(T).Name, e.GetType().Name, e.Message));
            }
            throw new TestFailure(string.Format("{0}: expected {1}, nothing raised", what,
                                                typeof(T).Name));
        }

        // The text a host reads for a failure of the runtime's own family:
        // ParamName where the one-string constructor puts it there.
        public static string HostText(Exception e)
        {
            var outOfRange = e as ArgumentOutOfRangeException;
            if (outOfRange != null) return outOfRange.ParamName;
            var nullArgument = e as ArgumentNullException;
            if (nullArgument != null) return nullArgument.ParamName;
            var disposed = e as ObjectDisposedException;
            if (disposed != null) return disposed.ObjectName;
            return e.Message;
        }
    }

    internal sealed class TestRunner
    {
        private int m_passed;
        private int m_failed;

        public void Run(string name, Action body)
        {
            try
            {
                body();
                ++m_passed;
                Console.WriteLine("[ ok ] " + name);
            }
            catch (Exception e)
            {
                ++m_failed;
                Console.WriteLine("[FAIL] " + name + ": " + e);
            }
        }

        public int Finish()
        {
            Console.WriteLine("{0} passed, {1} failed", m_passed, m_failed);
            return m_failed == 0 ? 0 : 1;
        }
    }

    // A program run to its end, its output and status.
    internal sealed class Ran
    {
        public int Status;
        public string Output;

        public static Ran Program(string program, params string[] arguments)
        {
            var start = new ProcessStartInfo(program, string.Join(" ", Array.ConvertAll(
                arguments, a => "\"" + a + "\"")));
            start.UseShellExecute = false;
            start.RedirectStandardOutput = true;
            start.RedirectStandardError = true;
            using (var process = Process.Start(start))
            {
                string output = process.StandardOutput.ReadToEnd();
                string errors = process.StandardError.ReadToEnd();
                process.WaitForExit();
                return new Ran { Status = process.ExitCode, Output = output + errors };
            }
        }
    }
}
