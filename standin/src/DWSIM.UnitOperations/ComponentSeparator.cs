using System;
using System.Collections.Generic;
using System.Linq;

namespace DWSIM.UnitOperations.UnitOperations.Auxiliary
{
    public enum SeparationSpec { MassFlow = 0, MolarFlow = 1, PercentInletMassFlow = 2, PercentInletMolarFlow = 3 }

    [Serializable]
    public class ComponentSeparationSpec
    {
        public ComponentSeparationSpec()
        {
            ComponentID = "";
            SepSpec = SeparationSpec.PercentInletMassFlow;
            SpecUnit = "";
        }

        public ComponentSeparationSpec(string id, SeparationSpec spectype, double specvalue, string specunit)
        {
            ComponentID = id; SepSpec = spectype; SpecValue = specvalue; SpecUnit = specunit;
        }

        public string ComponentID { get; set; }
        public SeparationSpec SepSpec { get; set; }
        public double SpecValue { get; set; }
        public string SpecUnit { get; set; }
    }
}

namespace DWSIM.UnitOperations.UnitOperations
{
    using Auxiliary;

    [Serializable]
    public class ComponentSeparator : UnitOpBaseClass
    {
        public ComponentSeparator() : this("", "") { }
        public ComponentSeparator(string name, string description) : base(name, description) { }

        public Dictionary<string, ComponentSeparationSpec> ComponentSepSpecs { get; set; } = new Dictionary<string, ComponentSeparationSpec>();
        // 0: specs apply to outlet 0; any other value: to outlet 1.
        public byte SpecifiedStreamIndex { get; set; }
        // kW = inlet enthalpy flow - outlet enthalpy flows
        public double EnergyImb { get; set; }

        public override string[] GetCalculationModes() { return new string[0]; }
        public override void SetCalculationMode(int mode) { }

        // mol/s from a molar or mass flow with its unit; unknown or empty units are taken as SI.
        private static double ToMolPerSecond(ComponentSeparationSpec s, double mw)
        {
            if (s.SpecUnit == null) throw new ArgumentException("SpecUnit of " + s.ComponentID + " is not set");
            double v = s.SpecValue;
            if (s.SepSpec == SeparationSpec.MolarFlow)
            {
                switch (s.SpecUnit.ToLowerInvariant())
                {
                    case "kmol/h": return v / 3.6;
                    case "mol/h": return v / 3600;
                    case "kmol/s": return v * 1000;
                    default: return v;
                }
            }
            switch (s.SpecUnit.ToLowerInvariant())
            {
                case "kg/h": v /= 3600; break;
                case "g/s": v /= 1000; break;
                case "t/h": v /= 3.6; break;
            }
            return v * 1000.0 / mw;
        }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var o0 = OutletStream(0);
            var o1 = OutletStream(1);
            var inlet = CalculatedInlet(o0, o1);

            var c = inlet.ComponentData;
            var names = inlet.CompoundNames;
            foreach (var key in ComponentSepSpecs.Values.Select(s => s.ComponentID).Where(id => !names.Contains(id)).ToList())
                ComponentSepSpecs.Remove(key);

            var fin = inlet.ComponentMolarFlows();
            var fspec = new double[c.Length];
            // Compounds without a spec go entirely to the other outlet, so nothing is lost.
            foreach (var s in ComponentSepSpecs.Values)
            {
                int i = Array.IndexOf(names, s.ComponentID);
                double v = s.SepSpec == SeparationSpec.PercentInletMassFlow || s.SepSpec == SeparationSpec.PercentInletMolarFlow
                    ? fin[i] * s.SpecValue / 100.0
                    : ToMolPerSecond(s, c[i].Molar_Weight);
                if (v < -1e-12 * Math.Max(1, fin[i]) || v > fin[i] * (1 + 1e-12) + 1e-15)
                    throw new ArgumentException(string.Format("{0}: separation spec asks for {1:G6} mol/s, inlet has {2:G6} mol/s", s.ComponentID, v, fin[i]));
                fspec[i] = Math.Min(fin[i], Math.Max(0, v));
            }
            var fother = fin.Select((f, i) => f - fspec[i]).ToArray();
            var spec = SpecifiedStreamIndex == 0 ? o0 : o1;
            var other = SpecifiedStreamIndex == 0 ? o1 : o0;
            double T = inlet.GetTemperature(), P = inlet.GetPressure();
            double hOut = Store(spec, fspec, inlet, T, P) + Store(other, fother, inlet, T, P);
            EnergyImb = (inlet.GetMolarFlow() * inlet.MolarEnthalpy.Value - hOut) / 1000.0;
            var es = ConnectedEnergyStream();
            if (es != null) es.EnergyFlow = EnergyImb;
            Calculated = true;
        }

        // Flashes an outlet at the inlet T and P; returns its enthalpy flow in W.
        private double Store(Thermodynamics.Streams.MaterialStream outlet, double[] f, Thermodynamics.Streams.MaterialStream inlet, double T, double P)
        {
            double F = f.Sum();
            if (F <= 0) { StoreZeroFlow(outlet, inlet.GetOverallComposition(), T, P); return 0; }
            var r = PP.FlashPT(outlet.ComponentData, f.Select(v => v / F).ToArray(), T, P);
            outlet.StoreResult(r, F);
            return F * r.H;
        }
    }
}
