using System;
using System.Linq;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms;

namespace DWSIM.UnitOperations.UnitOperations
{
    // Flash drum: vapour to outlet 0, liquid to outlet 1. The stand-in never forms a second
    // liquid, so outlet 2 (if connected) carries no flow.
    [Serializable]
    public class Vessel : UnitOpBaseClass
    {
        public enum PressureBehavior { Average = 0, Maximum = 1, Minimum = 2 }

        public Vessel() : this("", "") { }
        public Vessel(string name, string description) : base(name, description) { }

        public bool OverrideT { get; set; }
        public bool OverrideP { get; set; }
        public double FlashTemperature { get; set; } = 298.15;
        public double FlashPressure { get; set; } = 101325;
        public double? DeltaQ { get; set; }   // kW put in to reach the flash state
        public PressureBehavior PressureCalculation { get; set; } = PressureBehavior.Minimum;

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(PressureBehavior)); }
        public override void SetCalculationMode(int mode) { PressureCalculation = (PressureBehavior)mode; }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var vap = OutletStream(0);
            var liq = OutletStream(1);
            var heavy = OutletStream(2);
            var inlets = Enumerable.Range(0, 6).Select(InletStream).Where(s => s != null).ToList();
            if (vap == null || liq == null || inlets.Count == 0) throw new Exception(CheckConnections);
            var es = InletEnergyStream(6);
            bool overridden = OverrideT || OverrideP;
            if (overridden && es == null) throw new Exception(EnergyStreamRequired);
            foreach (var s in inlets) RequireCalculated(s);

            var c = vap.ComponentData;
            var f = new double[c.Length];
            double F = 0, Hin = 0, TF = 0;
            foreach (var s in inlets)
            {
                var fs = s.ComponentMolarFlows();
                for (int i = 0; i < f.Length; i++) f[i] += fs[i];
                double Fs = s.GetMolarFlow();
                F += Fs; Hin += Fs * s.MolarEnthalpy.Value; TF += Fs * s.GetTemperature();
            }
            var ps = inlets.Select(s => s.GetPressure()).ToList();
            double Pmix = PressureCalculation == PressureBehavior.Average ? ps.Average()
                        : PressureCalculation == PressureBehavior.Maximum ? ps.Max() : ps.Min();
            double P = OverrideP ? FlashPressure : Pmix;
            if (F <= 0)
            {
                var z0 = inlets[0].GetOverallComposition();
                double T0 = OverrideT ? FlashTemperature : inlets[0].GetTemperature();
                StoreZeroFlow(vap, z0, T0, P); StoreZeroFlow(liq, z0, T0, P);
                if (heavy != null) StoreZeroFlow(heavy, z0, T0, P);
                DeltaQ = 0;
                Calculated = true;
                return;
            }
            var z = f.Select(v => v / F).ToArray();
            double qExt = !overridden && es != null ? es.GetEnergyFlow() * 1000.0 : 0.0;
            FlashResult r = OverrideT
                ? PP.FlashPT(c, z, FlashTemperature, P)
                : PP.FlashPH(c, z, P, (Hin + qExt) / F, TF / F);
            DeltaQ = (F * r.H - Hin) / 1000.0;
            if (overridden) es.EnergyFlow = DeltaQ;
            vap.StoreResult(VapourPart(r, c), F * r.VF);
            liq.StoreResult(LiquidPart(r, c), F * (1 - r.VF));
            if (heavy != null) heavy.StoreResult(LiquidPart(r, c), 0.0);
            Calculated = true;
        }
    }
}
