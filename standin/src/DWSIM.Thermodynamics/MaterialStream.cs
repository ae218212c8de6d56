// Material stream: specification (T, P, flow, overall composition) in phase 0, results of the
// last flash in the phases. Units write their outlets through StoreResult.
using System;
using System.Collections.Generic;
using System.Globalization;
using System.Linq;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums;
using DWSIM.SharedClasses.UnitOperations;
using DWSIM.Thermodynamics.BaseClasses;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms;

namespace DWSIM.Thermodynamics.Streams
{
    [Serializable]
    public class MaterialStream : BaseClass, IMaterialStream
    {
        public static readonly string[] PhaseNames =
            { "Mixture", "OverallLiquid", "Vapor", "Liquid1", "Liquid2", "Liquid3", "Aqueous", "Solid" };

        private readonly Dictionary<int, IPhase> _phases = new Dictionary<int, IPhase>();
        private ConstantProperties[] _data = new ConstantProperties[0];

        public MaterialStream() : this("", "") { }

        public MaterialStream(string name, string description) : base(name, description)
        {
            for (int i = 0; i < PhaseNames.Length; i++) _phases.Add(i, new Phase(PhaseNames[i]));
            SpecType = StreamSpec.Temperature_and_Pressure;
            DefinedFlow = FlowSpec.Mass;
            var p0 = Mixture;
            p0.temperature = 298.15;
            p0.pressure = 101325.0;
            p0.massflow = 1.0;
        }

        public Dictionary<int, IPhase> Phases { get { return _phases; } }
        public StreamSpec SpecType { get; set; }
        public FlowSpec DefinedFlow { get; set; }
        public bool AtEquilibrium { get; set; }
        // J/mol, from the last flash (null before one).
        public double? MolarEnthalpy { get; private set; }
        // The flash result last stored, for units that pass a state on unchanged.
        public FlashResult LastResult { get; private set; }

        private IPhaseProperties Mixture { get { return _phases[0].Properties; } }

        public new PropertyPackages.PropertyPackage PropertyPackage
        {
            get { return (PropertyPackages.PropertyPackage)base.PropertyPackage; }
            set { base.PropertyPackage = value; }
        }

        public ConstantProperties[] ComponentData { get { return _data; } }
        public string[] CompoundNames { get { return _data.Select(c => c.Name).ToArray(); } }

        // Copies the flowsheet's selected compounds at creation, with equal mole fractions.
        public void AddCompounds(IEnumerable<ICompoundConstantProperties> compounds)
        {
            _data = compounds.Cast<ConstantProperties>().ToArray();
            foreach (var ph in _phases.Values)
            {
                ph.Compounds.Clear();
                foreach (var c in _data) ph.Compounds.Add(c.Name, new Compound(c.Name, c));
            }
            foreach (var c in _phases[0].Compounds.Values) c.MoleFraction = 1.0 / _data.Length;
        }

        public string SetTemperature(double value) { Mixture.temperature = value; AtEquilibrium = false; return "T = " + value + " K"; }
        public string SetTemperature(string valuestring) { return SetTemperature(Units.ToSI(valuestring, "K")); }
        public string SetPressure(double value) { Mixture.pressure = value; AtEquilibrium = false; return "P = " + value + " Pa"; }
        public string SetPressure(string valuestring) { return SetPressure(Units.ToSI(valuestring, "Pa")); }

        public string SetMolarFlow(double value)
        {
            Mixture.molarflow = value;
            DefinedFlow = FlowSpec.Mole;
            double mw = MixtureMolarWeight(GetOverallComposition());
            Mixture.massflow = mw > 0 ? value * mw / 1000.0 : (double?)null;
            AtEquilibrium = false;
            return "F = " + value + " mol/s";
        }

        public string SetMolarFlow(string valuestring) { return SetMolarFlow(Units.ToSI(valuestring, "mol/s")); }

        public string SetMassFlow(double value)
        {
            Mixture.massflow = value;
            DefinedFlow = FlowSpec.Mass;
            double mw = MixtureMolarWeight(GetOverallComposition());
            Mixture.molarflow = mw > 0 ? value / mw * 1000.0 : (double?)null;
            AtEquilibrium = false;
            return "W = " + value + " kg/s";
        }

        // Mole fractions in compound order; not normalised (the feed calculation checks them).
        public void SetOverallComposition(Array Vx)
        {
            if (Vx.Length != _data.Length)
                throw new ArgumentException(string.Format("expected {0} mole fractions, got {1}", _data.Length, Vx.Length));
            int i = 0;
            foreach (var c in _phases[0].Compounds.Values) c.MoleFraction = Convert.ToDouble(Vx.GetValue(i++));
            AtEquilibrium = false;
        }

        public double GetTemperature() { return Mixture.temperature ?? 0.0; }
        public double GetPressure() { return Mixture.pressure ?? 0.0; }
        public double GetMolarFlow() { return Mixture.molarflow ?? 0.0; }
        public double GetMassFlow() { return Mixture.massflow ?? 0.0; }
        public double[] GetOverallComposition() { return GetPhaseComposition(0); }

        public double[] GetPhaseComposition(int phs)
        {
            return _phases[phs].Compounds.Values.Select(c => c.MoleFraction ?? 0.0).ToArray();
        }

        public double MixtureMolarWeight(double[] z)
        {
            double mw = 0;
            for (int i = 0; i < _data.Length; i++) mw += z[i] * _data[i].Molar_Weight;
            return mw;
        }

        public double[] ComponentMolarFlows()
        {
            double f = GetMolarFlow();
            return GetOverallComposition().Select(x => x * f).ToArray();
        }

        private bool HasUpstream
        {
            get { return GraphicObject != null && GraphicObject.InputConnectors.Count > 0 && GraphicObject.InputConnectors[0].IsAttached; }
        }

        // A stream fed by a unit was written by that unit; only feeds are flashed here. A
        // Recycle's outlet (the tear stream) is flashed from what it holds: the Recycle's copy
        // of its inlet, or, on the first pass, its own values.
        public override void Calculate(object args = null)
        {
            if (HasUpstream && GraphicObject.InputConnectors[0].AttachedConnector.AttachedFrom.ObjectType != Interfaces.Enums.GraphicObjects.ObjectType.OT_Recycle) return;
            CalculateAsFeed();
        }

        public void CalculateAsFeed()
        {
            Calculated = false;
            if (SpecType != StreamSpec.Temperature_and_Pressure)
                throw new NotSupportedException("the stand-in calculates feed streams from temperature and pressure only");
            var z = GetOverallComposition();
            double sum = z.Sum();
            if (z.Length == 0) throw new InvalidOperationException("The stream has no compounds.");
            if (Math.Abs(sum - 1.0) > 1e-6 || z.Any(v => v < 0))
                throw new ArgumentException(string.Format("mole fractions must be non-negative and sum to 1 (sum = {0:R})", sum));
            z = z.Select(v => v / sum).ToArray();
            Flash.CheckData(_data, z);
            double F;
            if (DefinedFlow == FlowSpec.Mole) F = GetMolarFlow();
            else F = GetMassFlow() * 1000.0 / MixtureMolarWeight(z);
            if (!(F > 0)) throw new InvalidOperationException("The stream has no flow: set a positive molar or mass flow.");
            double T = GetTemperature(), P = GetPressure();
            if (!(T > 0) || !(P > 0)) throw new ArgumentException("temperature and pressure must be positive");
            var pp = PropertyPackage;
            if (pp == null) throw new InvalidOperationException("No property package is defined.");
            var r = pp.FlashPT(_data, z, T, P);
            StoreResult(r, F);
        }

        // Writes a flash result for a total molar flow F (mol/s) into every phase.
        public void StoreResult(FlashResult r, double F)
        {
            int n = _data.Length;
            var z = new double[n];
            for (int i = 0; i < n; i++) z[i] = r.VF * r.y[i] + (1 - r.VF) * r.x[i];
            WritePhase(0, r.T, r.P, F, 1.0, z, r.H);
            WritePhase(2, r.T, r.P, F * r.VF, r.VF, r.y, r.HV);
            double hl = r.HL;
            WritePhase(1, r.T, r.P, F * (1 - r.VF), 1 - r.VF, r.x, hl);
            WritePhase(3, r.T, r.P, F * (1 - r.VF), 1 - r.VF, r.x, hl);
            for (int p = 4; p < PhaseNames.Length; p++) WritePhase(p, r.T, r.P, 0.0, 0.0, r.x, hl);
            double wTotal = F * MixtureMolarWeight(z) / 1000.0;
            foreach (var ph in _phases.Values)
                ph.Properties.massfraction = wTotal > 0 ? (ph.Properties.massflow ?? 0) / wTotal : (double?)null;
            _phases[0].Properties.massfraction = 1.0;
            MolarEnthalpy = r.H;
            LastResult = r;
            AtEquilibrium = true;
            Calculated = true;
        }

        private void WritePhase(int idx, double T, double P, double F, double frac, double[] x, double h)
        {
            var ph = _phases[idx];
            var pr = ph.Properties;
            double mw = MixtureMolarWeight(x);
            pr.temperature = T; pr.pressure = P;
            pr.molarflow = F; pr.massflow = F * mw / 1000.0;
            pr.molarfraction = frac; pr.molecularWeight = mw;
            pr.enthalpy = mw > 0 ? h / mw : (double?)null;   // J/mol / g/mol = kJ/kg
            int i = 0;
            foreach (Compound c in ph.Compounds.Values)
            {
                c.MoleFraction = x[i];
                c.MolarFlow = x[i] * F;
                c.MassFlow = x[i] * F * _data[i].Molar_Weight / 1000.0;
                c.MassFraction = mw > 0 ? x[i] * _data[i].Molar_Weight / mw : (double?)null;
                i++;
            }
        }
    }

    // Just enough unit parsing for the string overloads of SetTemperature/SetPressure/SetMolarFlow.
    internal static class Units
    {
        public static double ToSI(string text, string siUnit)
        {
            var parts = (text ?? "").Trim().Split(new[] { ' ' }, 2, StringSplitOptions.RemoveEmptyEntries);
            if (parts.Length == 0) throw new FormatException("empty value");
            double v = double.Parse(parts[0], NumberStyles.Float, CultureInfo.InvariantCulture);
            string u = parts.Length > 1 ? parts[1].Trim() : siUnit;
            switch (u)
            {
                case "K": case "Pa": case "mol/s": return v;
                case "C": return v + 273.15;
                case "F": return (v - 32) * 5 / 9 + 273.15;
                case "R": return v * 5 / 9;
                case "kPa": return v * 1e3;
                case "MPa": return v * 1e6;
                case "bar": return v * 1e5;
                case "atm": return v * 101325;
                case "kmol/h": return v / 3.6;
                case "mol/h": return v / 3600;
                case "kmol/s": return v * 1000;
                default: throw new FormatException("unknown unit '" + u + "' for " + siUnit);
            }
        }
    }
}
