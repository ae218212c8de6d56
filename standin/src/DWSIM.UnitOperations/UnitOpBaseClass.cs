// Base of every unit: finds the streams on its ports and runs flashes through the
// flowsheet's property package.
using System;
using System.Linq;
using System.Reflection;
using DWSIM.Interfaces;
using DWSIM.SharedClasses.UnitOperations;
using DWSIM.Thermodynamics.BaseClasses;
using DWSIM.Thermodynamics.PropertyPackages;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms;
using DWSIM.Thermodynamics.Streams;
using DWSIM.UnitOperations.Streams;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.UnitOperations.UnitOperations
{
    [Serializable]
    public abstract class UnitOpBaseClass : BaseClass
    {
        public const string CheckConnections = "Check the connections of the object.";
        public const string InputNotCalculated = "One or more streams in the input are not calculated.";
        public const string EnergyStreamRequired = "The current calculation mode requires an Energy Stream to be connected to the Unit Operation.";

        protected UnitOpBaseClass(string name, string description) : base(name, description) { }

        private ISimulationObject Find(IGraphicObject go)
        {
            ISimulationObject obj;
            return go != null && FlowSheet.SimulationObjects.TryGetValue(go.Name, out obj) ? obj : null;
        }

        protected MaterialStream InletStream(int i)
        {
            var cp = GraphicObject.InputConnectors[i];
            return cp.IsAttached ? Find(cp.AttachedConnector.AttachedFrom) as MaterialStream : null;
        }

        protected MaterialStream OutletStream(int i)
        {
            var cp = GraphicObject.OutputConnectors[i];
            return cp.IsAttached ? Find(cp.AttachedConnector.AttachedTo) as MaterialStream : null;
        }

        protected EnergyStream InletEnergyStream(int i)
        {
            var cp = GraphicObject.InputConnectors[i];
            return cp.IsAttached ? Find(cp.AttachedConnector.AttachedFrom) as EnergyStream : null;
        }

        protected EnergyStream ConnectedEnergyStream()
        {
            var cp = GraphicObject.EnergyConnector;
            return cp.IsAttached ? Find(cp.AttachedConnector.AttachedTo) as EnergyStream : null;
        }

        protected PropertyPackage PP
        {
            get
            {
                var pp = PropertyPackage as PropertyPackage;
                if (pp == null) throw new InvalidOperationException("No property package is defined.");
                return pp;
            }
        }

        protected static void RequireCalculated(MaterialStream s)
        {
            if (!s.Calculated || s.LastResult == null) throw new Exception(InputNotCalculated);
        }

        // The stream on inlet port 0, once it and every given outlet are connected and it is calculated.
        protected MaterialStream CalculatedInlet(params MaterialStream[] outlets)
        {
            var inlet = InletStream(0);
            if (inlet == null || outlets.Any(o => o == null)) throw new Exception(CheckConnections);
            RequireCalculated(inlet);
            return inlet;
        }

        // Outlet with no flow still gets a defined state (T, P, composition).
        protected void StoreZeroFlow(MaterialStream outlet, double[] z, double T, double P)
        {
            outlet.StoreResult(PP.FlashPT(outlet.ComponentData, z, T, P), 0.0);
        }

        // The vapour or the liquid of a flash result as a single-phase state.
        protected static FlashResult VapourPart(FlashResult r, ConstantProperties[] c)
        {
            return r.VapourPart();
        }

        protected static FlashResult LiquidPart(FlashResult r, ConstantProperties[] c)
        {
            return r.LiquidPart();
        }

        public abstract string[] GetCalculationModes();
        public abstract void SetCalculationMode(int mode);

        protected static double Positive(double p, string what)
        {
            if (!(p > 0)) throw new ArgumentException(what + " must be positive, got " + p);
            return p;
        }
    }
}
