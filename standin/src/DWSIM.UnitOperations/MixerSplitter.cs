using System;
using System.Collections;
using System.Collections.Generic;
using System.Linq;
using DWSIM.Thermodynamics.Streams;

namespace DWSIM.UnitOperations.UnitOperations
{
    [Serializable]
    public class Mixer : UnitOpBaseClass
    {
        public enum PressureBehavior { Average = 0, Maximum = 1, Minimum = 2 }

        public Mixer() : this("", "") { }
        public Mixer(string name, string description) : base(name, description) { }

        public PressureBehavior PressureCalculation { get; set; } = PressureBehavior.Minimum;

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(PressureBehavior)); }
        public override void SetCalculationMode(int mode) { PressureCalculation = (PressureBehavior)mode; }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var outlet = OutletStream(0);
            if (outlet == null) throw new Exception("No material stream connected to the outlet of the mixer.");
            var inlets = Enumerable.Range(0, 6).Select(InletStream).Where(s => s != null).ToList();
            if (inlets.Count == 0) throw new Exception(CheckConnections);
            foreach (var s in inlets) RequireCalculated(s);

            var c = outlet.ComponentData;
            var f = new double[c.Length];
            double F = 0, H = 0, TF = 0;
            foreach (var s in inlets)
            {
                var fs = s.ComponentMolarFlows();
                for (int i = 0; i < f.Length; i++) f[i] += fs[i];
                double Fs = s.GetMolarFlow();
                F += Fs; H += Fs * s.MolarEnthalpy.Value; TF += Fs * s.GetTemperature();
            }
            var ps = inlets.Select(s => s.GetPressure()).ToList();
            double P = PressureCalculation == PressureBehavior.Average ? ps.Average()
                     : PressureCalculation == PressureBehavior.Maximum ? ps.Max() : ps.Min();
            if (F <= 0) StoreZeroFlow(outlet, inlets[0].GetOverallComposition(), inlets[0].GetTemperature(), P);
            else outlet.StoreResult(PP.FlashPH(c, f.Select(v => v / F).ToArray(), P, H / F, TF / F), F);
            Calculated = true;
        }
    }

    [Serializable]
    public class Splitter : UnitOpBaseClass
    {
        public enum OpMode { SplitRatios = 0, StreamMassFlowSpec = 1, StreamMoleFlowSpec = 2 }

        private readonly ArrayList _ratios = new ArrayList { 1.0, 0.0, 0.0 };

        public Splitter() : this("", "") { }
        public Splitter(string name, string description) : base(name, description) { }

        // Fractions 0-1 by outlet port; the last connected outlet's ratio is recomputed.
        public ArrayList Ratios { get { return _ratios; } }
        public OpMode OperationMode { get; set; } = OpMode.SplitRatios;
        public double StreamFlowSpec { get; set; }
        public double Stream2FlowSpec { get; set; }

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(OpMode)); }
        public override void SetCalculationMode(int mode) { OperationMode = (OpMode)mode; }

        private double Ratio(int i)
        {
            try { return Convert.ToDouble(_ratios[i]); }
            catch (InvalidCastException) { throw new ArgumentException("split ratio " + i + " is not a number"); }
        }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var inlet = InletStream(0);
            var outs = new List<MaterialStream> { OutletStream(0), OutletStream(1), OutletStream(2) };
            if (inlet == null || outs[0] == null) throw new Exception(CheckConnections);
            int n = outs.TakeWhile(o => o != null).Count();
            if (outs.Skip(n).Any(o => o != null))
                throw new Exception("Outlet streams must be connected sequentially (outlet 1, then 2, then 3).");
            RequireCalculated(inlet);
            double F = inlet.GetMolarFlow();

            var r = new double[3];
            if (OperationMode == OpMode.SplitRatios)
                for (int i = 0; i < n - 1; i++) r[i] = Ratio(i);
            else
            {
                // Flow specs fix the first outlets; convert to ratios of the inlet.
                double scale = OperationMode == OpMode.StreamMoleFlowSpec ? 1.0 : 1000.0 / inlet.MixtureMolarWeight(inlet.GetOverallComposition());
                var specs = new[] { StreamFlowSpec, Stream2FlowSpec };
                for (int i = 0; i < n - 1; i++) r[i] = F > 0 ? specs[i] * scale / F : 0.0;
            }
            r[n - 1] = 1.0 - r.Take(n - 1).Sum();
            for (int i = 0; i < 3; i++)
            {
                if (r[i] < -1e-12 || r[i] > 1 + 1e-12)
                    throw new ArgumentException(string.Format("split ratios must lie between 0 and 1 (outlet {0}: {1})", i + 1, r[i]));
                _ratios[i] = Math.Min(1.0, Math.Max(0.0, r[i]));
            }
            for (int i = 0; i < n; i++) outs[i].StoreResult(inlet.LastResult, F * r[i]);
            Calculated = true;
        }
    }
}
