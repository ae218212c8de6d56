// Compound constants and the phase/compound records a material stream is made of.
using System;
using System.Collections.Generic;
using System.Reflection;
using DWSIM.Interfaces;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.Thermodynamics.BaseClasses
{
    [Serializable]
    public class ConstantProperties : ICompoundConstantProperties
    {
        public string Name { get; set; }
        public string CAS_Number { get; set; }
        public string OriginalDB { get; set; }
        public string CurrentDB { get; set; }
        public double Molar_Weight { get; set; }          // g/mol
        public double Critical_Temperature { get; set; }  // K
        public double Critical_Pressure { get; set; }     // Pa
        public double Acentric_Factor { get; set; }
        public double Normal_Boiling_Point { get; set; }  // K (triple point where there is none)
        public double HVap_At_NBP { get; set; }           // J/mol at Normal_Boiling_Point
        // Ideal-gas heat capacity Cp = A + B T + C T^2 + D T^3, J/(mol K)
        public double IG_Cp_A { get; set; }
        public double IG_Cp_B { get; set; }
        public double IG_Cp_C { get; set; }
        public double IG_Cp_D { get; set; }
        // False for compounds the database names but carries no constants for; the solver
        // refuses them rather than guessing.
        public bool HasPropertyData { get; set; }

        public ConstantProperties()
        {
            Name = ""; CAS_Number = ""; OriginalDB = ""; CurrentDB = "";
        }

        public override string ToString() { return Name; }
    }

    [Serializable]
    public class PhaseProperties : IPhaseProperties
    {
        public double? temperature { get; set; }
        public double? pressure { get; set; }
        public double? molarflow { get; set; }
        public double? massflow { get; set; }
        public double? molarfraction { get; set; }
        public double? massfraction { get; set; }
        public double? enthalpy { get; set; }        // kJ/kg
        public double? molecularWeight { get; set; } // g/mol
    }

    [Serializable]
    public class Compound : ICompound
    {
        public Compound(string name, ICompoundConstantProperties props)
        {
            Name = name;
            ConstantProperties = props;
        }

        public string Name { get; set; }
        public double? MoleFraction { get; set; }
        public double? MassFraction { get; set; }
        public double? MolarFlow { get; set; }
        public double? MassFlow { get; set; }
        public ICompoundConstantProperties ConstantProperties { get; set; }
    }

    [Serializable]
    public class Phase : IPhase
    {
        private readonly Dictionary<string, ICompound> _compounds = new Dictionary<string, ICompound>();

        public Phase(string name)
        {
            Name = name;
            Properties = new PhaseProperties();
        }

        public string Name { get; set; }
        public IPhaseProperties Properties { get; set; }
        public Dictionary<string, ICompound> Compounds { get { return _compounds; } }
    }
}
