// DWSIM's Recycle block: the only place where the solver's backward walk stops, so every
// loop needs one. Each call compares its inlet with its outlet (the tear stream), copies the
// inlet's T, P and component mass flows into the outlet and reports convergence; the solver
// repeats whole passes until every Recycle has converged.
using System;
using System.Collections.Generic;
using System.Linq;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums;
using DWSIM.Thermodynamics.Streams;
using DWSIM.UnitOperations.SpecialOps.Helpers.Recycle;
using DWSIM.UnitOperations.UnitOperations;

namespace DWSIM.Interfaces.Enums
{
    public enum AccelMethod { None = 0, Wegstein = 1, Dominant_Eigenvalue = 2, GlobalBroyden = 3 }
}

namespace DWSIM.UnitOperations.SpecialOps.Helpers.Recycle
{
    // Tolerances in SI units; only the first three take part in the convergence test.
    [Serializable]
    public class ConvergenceParameters
    {
        public double Temperatura { get; set; } = 0.1;     // K
        public double Pressao { get; set; } = 0.1;         // Pa
        public double VazaoMassica { get; set; } = 0.01;   // kg/s
        public double FracaoVapor { get; set; } = 0.01;
        public double Entalpia { get; set; } = 1;
        public double Entropia { get; set; } = 0.01;
        public double Composicao { get; set; } = 0.001;
    }

    // Held for the acceleration methods; the stand-in only stores them.
    [Serializable]
    public class WegsteinParameters
    {
        public int AccelFreq { get; set; } = 4;
        public double Qmax { get; set; } = 0;
        public double Qmin { get; set; } = -20;
        public int AccelDelay { get; set; } = 2;
    }

    // The inlet of the last call and its errors, and the errors of the call before. Fields, so
    // that the file holds only the element's type, as DWSIM's files do.
    [Serializable]
    public class ConvergenceHistory
    {
        public double Temperatura = double.NaN, Pressao = double.NaN, VazaoMassica = double.NaN;
        public double TemperaturaE, PressaoE, VazaoMassicaE;
        public double TemperaturaE0, PressaoE0, VazaoMassicaE0;
    }
}

namespace DWSIM.UnitOperations.SpecialOps
{
    [Serializable]
    public class Recycle : UnitOpBaseClass
    {
        public const string NoOutlet = "No material stream connected to the outlet of recycling.";
        public const string OutletNotReady = "The Recycle Inlet Stream is not calculated or not at equilibrium.";
        public const string LimitReached = "Recycle reached the maximum number of iterations without converging.";
        public static readonly string[] Keys = { "Temperature", "Pressure", "MassFlow", "Enthalpy" };

        public Recycle() : this("", "") { }

        public Recycle(string name, string description) : base(name, description)
        {
            ConvergenceParameters = new ConvergenceParameters();
            WegsteinParameters = new WegsteinParameters();
            ConvergenceHistory = new ConvergenceHistory();
            Errors = Keys.ToDictionary(k => k, k => 0.0);
            Values = Keys.ToDictionary(k => k, k => 0.0);
        }

        public bool Converged { get; set; }
        public bool CopyOnStreamDataError { get; set; }
        public double SmoothingFactor { get; set; } = 1.0;
        public bool LegacyMode { get; set; }
        public Dictionary<string, double> Errors { get; private set; }
        public Dictionary<string, double> Values { get; private set; }
        public int IterationsTaken { get; set; }
        public int IterationCount { get; set; }
        public AccelMethod AccelerationMethod { get; set; } = AccelMethod.None;
        public ConvergenceParameters ConvergenceParameters { get; set; }
        public ConvergenceHistory ConvergenceHistory { get; set; }
        public WegsteinParameters WegsteinParameters { get; set; }
        public int MaximumIterations { get; set; } = 50;

        public override string[] GetCalculationModes() { return new string[0]; }
        public override void SetCalculationMode(int mode) { }

        private static double Or0(double? v) { return v ?? 0.0; }

        private static double[] MassFlows(MaterialStream s)
        {
            return s.Phases[0].Compounds.Values.Select(c => Or0(c.MassFlow)).ToArray();
        }

        public override void Calculate(object args = null)
        {
            var outlet = OutletStream(0);
            if (outlet == null) throw new Exception(NoOutlet);
            var inlet = InletStream(0);
            if (inlet == null) throw new Exception(CheckConnections);
            if (AccelerationMethod == AccelMethod.GlobalBroyden)
                throw new NotSupportedException("The GlobalBroyden acceleration of a Recycle is not modelled by the stand-in.");

            // Errors first: the outlet still holds what the previous pass started from.
            var pin = inlet.Phases[0].Properties;
            var pout = outlet.Phases[0].Properties;
            double tin = Or0(pin.temperature), pIn = Or0(pin.pressure);
            double dT = tin - Or0(pout.temperature), dP = pIn - Or0(pout.pressure);
            var win = MassFlows(inlet);
            var wout = MassFlows(outlet);
            double dW = win.Zip(wout, (a, b) => Math.Abs(a - b)).Sum();
            Errors["Temperature"] = dT; Errors["Pressure"] = dP; Errors["MassFlow"] = dW;
            Errors["Enthalpy"] = Or0(pin.enthalpy) - Or0(pout.enthalpy);
            Values["Temperature"] = tin; Values["Pressure"] = pIn; Values["MassFlow"] = Or0(pin.massflow);
            Values["Enthalpy"] = Or0(pin.enthalpy);

            if (!outlet.Calculated && !outlet.AtEquilibrium) throw new Exception(OutletNotReady);
            if (LegacyMode) CopyWhole(inlet, outlet);
            else
            {
                var h = ConvergenceHistory;
                double s = SmoothingFactor;
                double tPrev = double.IsNaN(h.Temperatura) ? tin : h.Temperatura;
                double pPrev = double.IsNaN(h.Pressao) ? pIn : h.Pressao;
                var w = win.Select((x, i) => s * x + (1 - s) * wout[i]).ToArray();
                Write(outlet, s * tin + (1 - s) * tPrev, s * pIn + (1 - s) * pPrev, w);
            }
            Remember(tin, pIn, Or0(pin.massflow), dT, dP, dW);

            if (IterationCount >= MaximumIterations)
            {
                IterationCount = 0;
                throw new TimeoutException(LimitReached);
            }
            var cp = ConvergenceParameters;
            if (Math.Abs(dT) <= cp.Temperatura && Math.Abs(dP) <= cp.Pressao && dW <= cp.VazaoMassica)
            {
                if (IterationCount != 0) IterationsTaken = IterationCount;
                IterationCount = 0;
                Converged = true;
            }
            else Converged = false;
            IterationCount += 1;
            Calculated = true;
        }

        private void Remember(double t, double p, double w, double dT, double dP, double dW)
        {
            var h = ConvergenceHistory;
            h.TemperaturaE0 = h.TemperaturaE; h.PressaoE0 = h.PressaoE; h.VazaoMassicaE0 = h.VazaoMassicaE;
            h.TemperaturaE = dT; h.PressaoE = dP; h.VazaoMassicaE = dW;
            h.Temperatura = t; h.Pressao = p; h.VazaoMassica = w;
        }

        // T, P and component mass flows into the tear stream's overall phase; it is flashed
        // from them when the solver reaches it on the next pass.
        private static void Write(MaterialStream s, double T, double P, double[] w)
        {
            var c = s.ComponentData;
            var mix = s.Phases[0];
            double W = w.Sum();
            var n = w.Select((x, i) => c[i].Molar_Weight > 0 ? x * 1000.0 / c[i].Molar_Weight : 0.0).ToArray();
            double F = n.Sum();
            mix.Properties.temperature = T;
            mix.Properties.pressure = P;
            mix.Properties.massflow = W;
            mix.Properties.molarflow = F;
            int k = 0;
            foreach (var comp in mix.Compounds.Values)
            {
                comp.MassFlow = w[k];
                comp.MolarFlow = n[k];
                if (F > 0) comp.MoleFraction = n[k] / F;
                if (W > 0) comp.MassFraction = w[k] / W;
                k++;
            }
            s.AtEquilibrium = false;
        }

        // Legacy mode: the whole inlet state, the outlet keeping its own specification.
        private static void CopyWhole(MaterialStream inlet, MaterialStream outlet)
        {
            var spec = outlet.SpecType;
            if (inlet.LastResult != null) outlet.StoreResult(inlet.LastResult, inlet.GetMolarFlow());
            else Write(outlet, inlet.GetTemperature(), inlet.GetPressure(), MassFlows(inlet));
            outlet.SpecType = spec;
            outlet.AtEquilibrium = false;
        }
    }
}
