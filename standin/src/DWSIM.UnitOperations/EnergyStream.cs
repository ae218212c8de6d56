using System;
using DWSIM.Interfaces;
using DWSIM.SharedClasses.UnitOperations;

namespace DWSIM.UnitOperations.Streams
{
    [Serializable]
    public class EnergyStream : BaseClass, IEnergyStream
    {
        public EnergyStream() : this("", "") { }
        public EnergyStream(string name, string description) : base(name, description) { }

        // kW; null until set by the user or by a unit.
        public double? EnergyFlow { get; set; }

        public void SetValue(double energyflow_kW) { EnergyFlow = energyflow_kW; }
        public double GetEnergyFlow() { return EnergyFlow ?? 0.0; }
        public void SetEnergyFlow(double value) { EnergyFlow = value; }

        public override void Calculate(object args = null) { Calculated = true; }
    }
}
