using System;
using System.Linq;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms;

namespace DWSIM.UnitOperations.UnitOperations
{
    // Incompressible liquid: w = V dP / eff with V from Rackett at the inlet temperature.
    [Serializable]
    public class Pump : UnitOpBaseClass
    {
        public enum CalculationMode { Delta_P = 0, OutletPressure = 1, EnergyStream = 2, Curves = 3, Power = 4 }

        public Pump() : this("", "") { }
        public Pump(string name, string description) : base(name, description) { }

        public CalculationMode CalcMode { get; set; } = CalculationMode.Delta_P;
        public double Pout { get; set; }
        public double? DeltaP { get; set; }   // Pa, increase
        public double? DeltaQ { get; set; }   // kW, power
        public double? DeltaT { get; set; }
        public double? Eficiencia { get; set; } = 75;
        public double Efficiency { get { return Eficiencia ?? 75; } set { Eficiencia = value; } }
        public double? NPSH { get; set; }

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(CalculationMode)); }
        public override void SetCalculationMode(int mode) { CalcMode = (CalculationMode)mode; }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var outlet = OutletStream(0);
            var inlet = CalculatedInlet(outlet);
            var es = InletEnergyStream(1);
            double eff = Positive(Efficiency, "efficiency") / 100.0;
            double F = inlet.GetMolarFlow(), T1 = inlet.GetTemperature(), P1 = inlet.GetPressure();
            var z = inlet.GetOverallComposition();
            double V = IdealFlash.LiquidMolarVolume(inlet.ComponentData, z, T1);
            double P2, w;
            switch (CalcMode)
            {
                case CalculationMode.Delta_P: P2 = P1 + (DeltaP ?? 0); w = V * (P2 - P1) / eff; break;
                case CalculationMode.OutletPressure: P2 = Pout; w = V * (P2 - P1) / eff; break;
                case CalculationMode.Power:
                case CalculationMode.EnergyStream:
                    double q = CalcMode == CalculationMode.Power ? (DeltaQ ?? 0) : (es != null ? es.GetEnergyFlow() : 0);
                    if (CalcMode == CalculationMode.EnergyStream && es == null) throw new Exception(EnergyStreamRequired);
                    w = F > 0 ? q * 1000.0 / F : 0; P2 = P1 + w * eff / V; break;
                default: throw new NotSupportedException("pump mode " + CalcMode + " is not modelled by the stand-in");
            }
            Positive(P2, "outlet pressure");
            var r = PP.FlashPH(inlet.ComponentData, z, P2, inlet.MolarEnthalpy.Value + w, T1);
            DeltaQ = F * w / 1000.0; DeltaP = P2 - P1; Pout = P2; DeltaT = r.T - T1;
            if (es != null && CalcMode != CalculationMode.EnergyStream) es.EnergyFlow = DeltaQ;
            outlet.StoreResult(r, F);
            Calculated = true;
        }
    }

    // Isentropic compression with the package's entropy, then the efficiency: w = dh_s / eff.
    [Serializable]
    public class Compressor : UnitOpBaseClass
    {
        public enum CalculationMode { OutletPressure = 0, Delta_P = 1, EnergyStream = 2, PowerRequired = 3, Head = 4, Curves = 5, PressureRatio = 6 }
        public enum ProcessPathType { Adiabatic = 0, Polytropic = 1 }

        public Compressor() : this("", "") { }
        public Compressor(string name, string description) : base(name, description) { }

        public CalculationMode CalcMode { get; set; } = CalculationMode.OutletPressure;
        public double POut { get; set; } = 101325;
        public double AdiabaticEfficiency { get; set; } = 75;
        public double PolytropicEfficiency { get; set; } = 75;
        public ProcessPathType ProcessPath { get; set; } = ProcessPathType.Adiabatic;
        public double DeltaP { get; set; }
        public double DeltaQ { get; set; }
        public double DeltaT { get; set; }
        public double PressureRatio { get; set; } = double.NaN;
        public double OutletTemperature { get; set; }

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(CalculationMode)); }
        public override void SetCalculationMode(int mode) { CalcMode = (CalculationMode)mode; }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var outlet = OutletStream(0);
            var inlet = CalculatedInlet(outlet);
            double F = inlet.GetMolarFlow(), T1 = inlet.GetTemperature(), P1 = inlet.GetPressure();
            double P2;
            switch (CalcMode)
            {
                case CalculationMode.OutletPressure: P2 = POut; break;
                case CalculationMode.Delta_P: P2 = P1 + DeltaP; break;
                case CalculationMode.PressureRatio: P2 = P1 * PressureRatio; break;
                default: throw new NotSupportedException("compressor mode " + CalcMode + " is not modelled by the stand-in");
            }
            Positive(P2, "outlet pressure");
            double eff = Positive(ProcessPath == ProcessPathType.Adiabatic ? AdiabaticEfficiency : PolytropicEfficiency, "efficiency") / 100.0;
            var c = inlet.ComponentData;
            var z = inlet.GetOverallComposition();
            // Isentropic outlet by a PS flash from the inlet's entropy, then the efficiency.
            double H1 = inlet.MolarEnthalpy.Value;
            var rs = PP.FlashPS(c, z, P2, inlet.LastResult.S, T1);
            double w = (rs.H - H1) / eff;
            var r = PP.FlashPH(c, z, P2, H1 + w, rs.T);
            DeltaQ = F * w / 1000.0; DeltaP = P2 - P1; POut = P2; PressureRatio = P2 / P1;
            OutletTemperature = r.T; DeltaT = r.T - T1;
            var es = InletEnergyStream(1);
            if (es != null) es.EnergyFlow = DeltaQ;
            outlet.StoreResult(r, F);
            Calculated = true;
        }
    }

    [Serializable]
    public class Valve : UnitOpBaseClass
    {
        public enum CalculationMode { DeltaP = 0, OutletPressure = 1, Kv_Liquid = 2, Kv_Gas = 3, Kv_Steam = 4, Kv_General = 5 }

        public Valve() : this("", "") { }
        public Valve(string name, string description) : base(name, description) { }

        public CalculationMode CalcMode { get; set; } = CalculationMode.DeltaP;
        public double? OutletPressure { get; set; } = 101325;
        public double? DeltaP { get; set; }   // Pa, drop
        public double? DeltaQ { get; set; }
        public double? DeltaT { get; set; }

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(CalculationMode)); }
        public override void SetCalculationMode(int mode) { CalcMode = (CalculationMode)mode; }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var outlet = OutletStream(0);
            var inlet = CalculatedInlet(outlet);
            double P1 = inlet.GetPressure(), T1 = inlet.GetTemperature();
            double P2;
            if (CalcMode == CalculationMode.DeltaP) P2 = P1 - (DeltaP ?? 0);
            else if (CalcMode == CalculationMode.OutletPressure) P2 = Heater.Require(OutletPressure, "OutletPressure");
            else throw new NotSupportedException("valve mode " + CalcMode + " is not modelled by the stand-in");
            Positive(P2, "outlet pressure");
            // Isenthalpic expansion.
            var r = PP.FlashPH(inlet.ComponentData, inlet.GetOverallComposition(), P2, inlet.MolarEnthalpy.Value, T1);
            DeltaP = P1 - P2; OutletPressure = P2; DeltaQ = 0; DeltaT = r.T - T1;
            outlet.StoreResult(r, inlet.GetMolarFlow());
            Calculated = true;
        }
    }
}
