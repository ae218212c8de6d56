// Entry point of the automation API: holds the compound database and the property-package
// templates, creates and solves flowsheets.
using System;
using System.Collections.Generic;
using System.Linq;
using System.Reflection;
using DWSIM.GlobalSettings;
using DWSIM.Interfaces;
using DWSIM.Thermodynamics;
using DWSIM.Thermodynamics.BaseClasses;
using DWSIM.Thermodynamics.Databases;
using DWSIM.Thermodynamics.PropertyPackages;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.Automation
{
    public interface AutomationInterface
    {
        IFlowsheet CreateFlowsheet();
        IFlowsheet LoadFlowsheet(string filepath);
        void SaveFlowsheet(IFlowsheet flowsheet, string filepath, bool compressed);
        List<Exception> CalculateFlowsheet2(IFlowsheet flowsheet);
        List<Exception> CalculateFlowsheet3(IFlowsheet flowsheet, int timeoutinseconds);
        void ReleaseResources();
    }

    public class Automation3 : AutomationInterface
    {
        private readonly Dictionary<string, IPropertyPackage> _pps = new Dictionary<string, IPropertyPackage>();
        private readonly Dictionary<string, ICompoundConstantProperties> _compounds;

        public Automation3()
        {
            Settings.AutomationMode = true;
            Settings.InspectorEnabled = false;
            Settings.CultureInfo = "en";
            _compounds = CompoundDatabase.Load();
            PropertyPackage[] templates =
            {
                new RaoultPropertyPackage(), new NRTLPropertyPackage(), new WilsonPropertyPackage(),
                new UNIQUACPropertyPackage(), new PengRobinsonPropertyPackage(), new SRKPropertyPackage()
            };
            foreach (var pp in templates) _pps.Add(pp.ComponentName, pp);
            int withData = _compounds.Values.Count(c => ((ConstantProperties)c).HasPropertyData);
            Console.WriteLine("DWSIM stand-in automation: loaded {0} compounds ({1} with property data) and {2} property packages.",
                              _compounds.Count, withData, _pps.Count);
        }

        public Dictionary<string, IPropertyPackage> AvailablePropertyPackages { get { return _pps; } }
        public Dictionary<string, ICompoundConstantProperties> AvailableCompounds { get { return _compounds; } }

        public IFlowsheet CreateFlowsheet()
        {
            var fs = new Flowsheet2(null, null) { SupressDataLoading = true };
            fs.AvailableCompounds = _compounds;
            fs.AvailablePropertyPackages = _pps;
            fs.Init();
            return fs;
        }

        // The extension decides between zip and plain XML; the flowsheet is returned only once
        // the whole file has been read into it.
        public IFlowsheet LoadFlowsheet(string filepath, Action UIUpdHandler = null)
        {
            var fs = CreateFlowsheet();
            FlowsheetBase.Files.FlowsheetFile.Load(fs, filepath);
            return fs;
        }

        public IFlowsheet LoadFlowsheet(string filepath) { return LoadFlowsheet(filepath, null); }
        public IFlowsheet LoadFlowsheet2(string filepath) { return LoadFlowsheet(filepath, null); }

        // As in DWSIM, `compressed` is ignored: the extension decides the form.
        public void SaveFlowsheet(IFlowsheet flowsheet, string filepath, bool compressed)
        {
            ((Flowsheet2)flowsheet).SaveSimulation(filepath);
        }

        public void SaveFlowsheet2(IFlowsheet flowsheet, string filepath) { SaveFlowsheet(flowsheet, filepath, true); }

        public List<Exception> CalculateFlowsheet4(IFlowsheet flowsheet)
        {
            Settings.CalculatorActivated = true;
            Settings.SolverBreakOnException = true;
            // A solve locks model parameters, as DWSIM's solver does: cubic packages then keep
            // their kij matrix unless AreModelParametersDirty is set.
            bool locked = Settings.LockModelParameters;
            Settings.LockModelParameters = true;
            try { return ((Flowsheet2)flowsheet).SolveFlowsheet2(); }
            finally { Settings.LockModelParameters = locked; }
        }

        // The public overloads return nothing, as in DWSIM; the interface ones return the errors.
        public void CalculateFlowsheet2(IFlowsheet flowsheet) { CalculateFlowsheet4(flowsheet); }
        public void CalculateFlowsheet3(IFlowsheet flowsheet, int timeoutinseconds) { CalculateFlowsheet4(flowsheet); }
        List<Exception> AutomationInterface.CalculateFlowsheet2(IFlowsheet flowsheet) { return CalculateFlowsheet4(flowsheet); }
        List<Exception> AutomationInterface.CalculateFlowsheet3(IFlowsheet flowsheet, int timeoutinseconds) { return CalculateFlowsheet4(flowsheet); }

        public void ReleaseResources()
        {
            _pps.Clear();
            _compounds.Clear();
        }

        public string GetVersion()
        {
            return "DWSIM version " + typeof(Automation3).Assembly.GetName().Version + " (stand-in, not DWSIM)";
        }
    }
}
