// Process-wide settings, shared (static) as in DWSIM: one solve at a time per process.
using System.Reflection;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.GlobalSettings
{
    public static class Settings
    {
        public static bool AutomationMode = false;
        public static bool CalculatorActivated = true;
        public static bool SolverBreakOnException = false;
        public static int SolverTimeoutSeconds = 3600;
        public static bool InspectorEnabled = false;
        public static string CultureInfo = "en";
        public static bool LockModelParameters = false;
        public static bool EnableParallelProcessing = false;

        // Stand-in recycle solver: a tear stream has converged when every component molar flow
        // moved by less than RecycleTolerance times the stream's total flow and its temperature
        // by less than RecycleTemperatureTolerance (K) between two passes.
        public static double RecycleTolerance = 1e-9;
        public static double RecycleTemperatureTolerance = 1e-4;
        public static int RecycleMaxIterations = 500;
        // Bounded Wegstein acceleration of tear streams (q in [-5, 0]); false = plain substitution.
        public static bool RecycleAcceleration = true;
    }
}
