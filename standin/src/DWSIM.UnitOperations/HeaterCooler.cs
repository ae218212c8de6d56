using System;
using DWSIM.Thermodynamics.PropertyPackages.Auxiliary.FlashAlgorithms;
using DWSIM.Thermodynamics.Streams;

namespace DWSIM.UnitOperations.UnitOperations
{
    // The members a heater and a cooler share, each with its own mode enum.
    // DeltaQ is heat added on a heater and heat removed on a cooler (kW).
    [Serializable]
    public abstract class HeaterCoolerBase : UnitOpBaseClass
    {
        protected HeaterCoolerBase(string name, string description) : base(name, description) { }

        public double? OutletTemperature { get; set; } = 298.15;
        public double? OutletVaporFraction { get; set; }
        public double? DeltaQ { get; set; }      // kW
        public double? DeltaP { get; set; }      // Pa, pressure drop
        public double? DeltaT { get; set; }      // K, temperature change
        public double? Eficiencia { get; set; } = 100;
        public double HeatDuty { get { return DeltaQ ?? 0; } set { DeltaQ = value; } }
        public double Efficiency { get { return Eficiencia ?? 100; } set { Eficiencia = value; } }
        public double PressureDrop { get { return DeltaP ?? 0; } set { DeltaP = value; } }
        public double TemperatureChange { get { return DeltaT ?? 0; } set { DeltaT = value; } }
    }

    [Serializable]
    public class Heater : HeaterCoolerBase
    {
        public enum CalculationMode
        {
            HeatAdded = 0, OutletTemperature = 1, EnergyStream = 2, OutletVaporFraction = 3,
            TemperatureChange = 4, HeatAddedRemoved = 5
        }

        public Heater() : this("", "") { }
        public Heater(string name, string description) : base(name, description) { }

        public CalculationMode CalcMode { get; set; } = CalculationMode.HeatAdded;

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(CalculationMode)); }
        public override void SetCalculationMode(int mode) { CalcMode = (CalculationMode)mode; }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var outlet = OutletStream(0);
            var inlet = CalculatedInlet(outlet);
            var es = InletEnergyStream(1);
            var d = new Duty(this, inlet, DeltaP ?? 0, Efficiency);
            FlashResult r;
            switch (CalcMode)
            {
                case CalculationMode.OutletTemperature: r = d.ToTemperature(Require(OutletTemperature, "OutletTemperature")); break;
                case CalculationMode.OutletVaporFraction: r = d.ToVapourFraction(Require(OutletVaporFraction, "OutletVaporFraction")); break;
                case CalculationMode.TemperatureChange: r = d.ToTemperature(d.T1 + Require(DeltaT, "DeltaT")); break;
                case CalculationMode.EnergyStream: r = d.WithHeat(es != null ? es.GetEnergyFlow() : 0.0); break;
                default: r = d.WithHeat(DeltaQ ?? 0); break;
            }
            DeltaQ = d.Q;
            OutletTemperature = r.T;
            OutletVaporFraction = r.VF;
            DeltaT = r.T - d.T1;
            if (es != null && CalcMode != CalculationMode.EnergyStream) es.EnergyFlow = d.Q;
            outlet.StoreResult(r, d.F);
            Calculated = true;
        }

        internal static double Require(double? v, string name)
        {
            if (!v.HasValue) throw new ArgumentException(name + " is not set");
            return v.Value;
        }
    }

    [Serializable]
    public class Cooler : HeaterCoolerBase
    {
        public enum CalculationMode
        {
            HeatRemoved = 0, OutletTemperature = 1, OutletVaporFraction = 2, TemperatureChange = 3, EnergyStream = 4
        }

        public Cooler() : this("", "") { }
        public Cooler(string name, string description) : base(name, description) { }

        public CalculationMode CalcMode { get; set; } = CalculationMode.HeatRemoved;

        public override string[] GetCalculationModes() { return Enum.GetNames(typeof(CalculationMode)); }
        public override void SetCalculationMode(int mode) { CalcMode = (CalculationMode)mode; }

        public override void Calculate(object args = null)
        {
            Calculated = false;
            var outlet = OutletStream(0);
            var inlet = CalculatedInlet(outlet);
            var d = new Duty(this, inlet, DeltaP ?? 0, Efficiency);
            FlashResult r;
            switch (CalcMode)
            {
                case CalculationMode.OutletTemperature: r = d.ToTemperature(Heater.Require(OutletTemperature, "OutletTemperature")); break;
                case CalculationMode.OutletVaporFraction: r = d.ToVapourFraction(Heater.Require(OutletVaporFraction, "OutletVaporFraction")); break;
                case CalculationMode.TemperatureChange: r = d.ToTemperature(d.T1 - Heater.Require(DeltaT, "DeltaT")); break;
                case CalculationMode.EnergyStream:
                    var supply = InletEnergyStream(1);
                    if (supply == null) throw new Exception(EnergyStreamRequired);
                    r = d.WithHeat(-supply.GetEnergyFlow());
                    break;
                default: r = d.WithHeat(-(DeltaQ ?? 0)); break;
            }
            DeltaQ = -d.Q;
            OutletTemperature = r.T;
            OutletVaporFraction = r.VF;
            DeltaT = d.T1 - r.T;
            var es = ConnectedEnergyStream();
            if (es != null) es.EnergyFlow = DeltaQ;
            outlet.StoreResult(r, d.F);
            Calculated = true;
        }
    }

    // Heat balance shared by heater and cooler. Q is heat put into the fluid (kW); the
    // efficiency scales what reaches the fluid: H2 = H1 + Q (eff/100) / F.
    internal class Duty
    {
        private readonly UnitOpBaseClass _unit;
        private readonly MaterialStream _in;
        private readonly double _eff;
        public readonly double F, T1, P2, H1;
        public double Q;

        public Duty(UnitOpBaseClass unit, MaterialStream inlet, double deltaP, double efficiencyPercent)
        {
            _unit = unit; _in = inlet; _eff = efficiencyPercent / 100.0;
            if (!(_eff > 0)) throw new ArgumentException("efficiency must be positive");
            F = inlet.GetMolarFlow(); T1 = inlet.GetTemperature(); H1 = inlet.MolarEnthalpy.Value;
            P2 = inlet.GetPressure() - deltaP;
            if (!(P2 > 0)) throw new ArgumentException("pressure drop leaves no outlet pressure");
        }

        private DWSIM.Thermodynamics.PropertyPackages.PropertyPackage PP
        {
            get { return (DWSIM.Thermodynamics.PropertyPackages.PropertyPackage)_unit.PropertyPackage; }
        }

        public FlashResult WithHeat(double q)
        {
            Q = q;
            double h2 = F > 0 ? H1 + q * 1000.0 * _eff / F : H1;
            return PP.FlashPH(_in.ComponentData, _in.GetOverallComposition(), P2, h2, T1);
        }

        public FlashResult ToTemperature(double t2)
        {
            var r = PP.FlashPT(_in.ComponentData, _in.GetOverallComposition(), t2, P2);
            Q = F * (r.H - H1) / 1000.0 / _eff;
            return r;
        }

        public FlashResult ToVapourFraction(double vf)
        {
            var r = PP.FlashPVF(_in.ComponentData, _in.GetOverallComposition(), P2, vf, T1);
            Q = F * (r.H - H1) / 1000.0 / _eff;
            return r;
        }
    }
}
