using System;
using System.Collections.Generic;

namespace DWSIM.Interfaces
{
    public interface IMaterialStream
    {
        Dictionary<int, IPhase> Phases { get; }
        Enums.StreamSpec SpecType { get; set; }
        string SetTemperature(double value);
        string SetTemperature(string valuestring);
        string SetPressure(double value);
        string SetPressure(string valuestring);
        string SetMolarFlow(double value);
        string SetMolarFlow(string valuestring);
        string SetMassFlow(double value);
        void SetOverallComposition(Array Vx);
        double GetTemperature();
        double GetPressure();
        double GetMolarFlow();
        double GetMassFlow();
        double[] GetOverallComposition();
        double[] GetPhaseComposition(int phs);
    }

    public interface IPhase
    {
        string Name { get; set; }
        IPhaseProperties Properties { get; set; }
        Dictionary<string, ICompound> Compounds { get; }
    }

    // Lower-case member names are DWSIM's.
    public interface IPhaseProperties
    {
        double? temperature { get; set; }
        double? pressure { get; set; }
        double? molarflow { get; set; }
        double? massflow { get; set; }
        double? molarfraction { get; set; }
        double? massfraction { get; set; }
        double? enthalpy { get; set; }
        double? molecularWeight { get; set; }
    }

    public interface ICompound
    {
        string Name { get; set; }
        double? MoleFraction { get; set; }
        double? MassFraction { get; set; }
        double? MolarFlow { get; set; }
        double? MassFlow { get; set; }
        ICompoundConstantProperties ConstantProperties { get; set; }
    }

    public interface ICompoundConstantProperties
    {
        string Name { get; set; }
        string CAS_Number { get; set; }
        double Molar_Weight { get; set; }
        double Critical_Temperature { get; set; }
        double Critical_Pressure { get; set; }
        double Acentric_Factor { get; set; }
        double Normal_Boiling_Point { get; set; }
        string OriginalDB { get; set; }
        string CurrentDB { get; set; }
    }
}
