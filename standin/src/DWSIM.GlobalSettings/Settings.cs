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
    }
}
